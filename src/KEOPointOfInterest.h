#pragma once
// A configured place: a position counts as inside when radius >= its distance in metres.
// Copied by value.
#include <QString>

class KEOPointOfInterest {
public:
    KEOPointOfInterest();
    virtual ~KEOPointOfInterest();

    QString name;
    double latitude;
    double longitude;
    double radius;
};
