#pragma once
/// \file
/// Types shared by the media classes and the application's player code.
class KEOMediaState;

/// What a media report is. The engine compares these values by order, so the numbering is part
/// of the contract: 6 is deliberately left unassigned.
enum KEOMediaEventType {
    KEOMediaEventTypeClose = 0,    ///< close(), or the end of the media
    KEOMediaEventTypePlay = 1,     ///< play()
    KEOMediaEventTypeStop = 2,     ///< stop()
    KEOMediaEventTypeMonitor = 3,  ///< the monitor thread's tick
    KEOMediaEventTypeTrack = 4,    ///< track()
    KEOMediaEventTypeComplete = 5, ///< complete()
    KEOMediaEventTypeClick = 7,    ///< click()
};

/// The application's media callback. It is called on the thread of the event (the application's
/// thread for reports, an item's monitor thread for ticks) and receives a snapshot that it then
/// owns and must delete.
typedef void (*mediaMonitor_func)(KEOMediaState *);
