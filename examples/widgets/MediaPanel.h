#pragma once
// The player page: a clip that a timer "decodes", with play, pause and a progress bar that
// seeks where it is clicked. Each change of the play state is one report to KEOMediaAnalytics,
// which sends the view, the 25/50/75 % milestones, the segments and the close by itself.
#include <QElapsedTimer>
#include <QTimer>
#include <QWidget>

class KEOMediaState;
class QPushButton;
class QStatusBar;
class SeekBar;

class MediaPanel : public QWidget {
public:
    // Shows each media event in status, which must outlive the panel. UI thread only.
    explicit MediaPanel(QStatusBar *status, QWidget *parent = nullptr);
    // Closes the clip and stops the media events before the panel goes. UI thread only.
    ~MediaPanel() override;

private:
    void play();
    void pause();
    void seek(double fraction);
    // One step of the stand-in decoder: the position moves on by the time that passed.
    void decode();
    void refresh();
    // The library's media delegate: called on any thread, owns the snapshot it gets.
    static void mediaEvent(KEOMediaState *state);

    QStatusBar *_status;
    QPushButton *_play;
    QPushButton *_pause;
    SeekBar *_bar;
    QTimer _decoder;
    QElapsedTimer _clock;
    double _offset = 0.0;
    bool _open = false;
    bool _playing = false;
};
