#include "KEOMediaAnalyticsQuick.h"

#include <KEOMediaAnalytics.h>

// The settings are public fields, atomic or locked, that a read or an assignment reaches whole.
#define KEO_MEDIA_SETTING(Type, name, Name)                                                        \
    Type KEOMediaAnalyticsQuick::name() const {                                                    \
        return KEOMediaAnalytics::sharedInstance()->name;                                          \
    }                                                                                              \
    void KEOMediaAnalyticsQuick::set##Name(Type value) {                                           \
        KEOMediaAnalytics::sharedInstance()->name = value;                                         \
        emit settingsChanged();                                                                    \
    }
KEO_MEDIA_SETTINGS(KEO_MEDIA_SETTING)
