#pragma once
// The player page: a clip played by QMediaPlayer in a QVideoWidget, with play, pause, stop and a
// progress bar that seeks where it is clicked. A KEOMediaTracker follows the player and makes
// every report to KEOMediaAnalytics, which sends the view, the 25/50/75 % milestones, the
// segments and the close by itself; the page has no media call of its own.
#include <QMediaPlayer>
#include <QWidget>

class KEOMediaState;
class QPushButton;
class QStatusBar;
class SeekBar;

class MediaPanel : public QWidget {
public:
    // Shows each media event in status, which must outlive the panel. UI thread only.
    explicit MediaPanel(QStatusBar *status, QWidget *parent = nullptr);
    // Stops the media events before the panel goes; the tracker closes the clip. UI thread only.
    ~MediaPanel() override;

private:
    void refresh();
    // The library's media delegate: called on any thread, owns the snapshot it gets.
    static void mediaEvent(KEOMediaState *state);

    QStatusBar *_status;
    QPushButton *_play;
    QPushButton *_pause;
    QPushButton *_stop;
    SeekBar *_bar;
    QMediaPlayer _player;
};
