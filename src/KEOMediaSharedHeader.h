#pragma once
// Types shared by the media classes and the application's player code.
class KEOMediaState;

// What a media report is. The engine compares these values by order, so the numbering is part
// of the contract: 6 is deliberately left unassigned.
enum KEOMediaEventType {
    KEOMediaEventTypeClose = 0,
    KEOMediaEventTypePlay = 1,
    KEOMediaEventTypeStop = 2,
    KEOMediaEventTypeMonitor = 3,
    KEOMediaEventTypeTrack = 4,
    KEOMediaEventTypeComplete = 5,
    KEOMediaEventTypeClick = 7,
};

// The application's media callback. It is called on the thread of the event (the application's
// thread for reports, an item's monitor thread for ticks) and receives a snapshot that it then
// owns and must delete.
typedef void (*mediaMonitor_func)(KEOMediaState *);
