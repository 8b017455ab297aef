#include "MediaPanel.h"

#include <KEOMediaAnalytics.h>
#include <KEOMediaTracker.h>

#include <QCoreApplication>
#include <QDir>
#include <QHBoxLayout>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>
#include <QVideoWidget>

#include <algorithm>
#include <atomic>
#include <functional>
#include <memory>

// A progress bar that seeks to where it is clicked.
class SeekBar : public QProgressBar {
public:
    std::function<void(double)> onSeek;

protected:
    void mousePressEvent(QMouseEvent *event) override {
        if (onSeek && width() > 0)
            onSeek(std::clamp(event->pos().x() / double(width()), 0.0, 1.0));
    }
};

namespace {

const QSize kButtonSize(140, 34);

// The panel that shows media events: set and cleared on the UI thread, read by the delegate
// on whichever thread reports.
std::atomic<MediaPanel *> shownBy{nullptr};

} // namespace

MediaPanel::MediaPanel(QStatusBar *status, QWidget *parent) : QWidget(parent), _status(status) {
    _play = new QPushButton(QStringLiteral("Play"));
    _pause = new QPushButton(QStringLiteral("Pause"));
    // A stopped player goes back to the start; the tracker reports where it was.
    _stop = new QPushButton(QStringLiteral("Stop"));
    _play->setFixedSize(kButtonSize);
    _pause->setFixedSize(kButtonSize);
    _stop->setFixedSize(kButtonSize);
    _bar = new SeekBar;
    _bar->setFixedHeight(28);
    _bar->onSeek = [this](double fraction) {
        _player.setPosition(qint64(fraction * _bar->maximum()));
    };
    auto *video = new QVideoWidget;
    video->setFixedSize(240, 135);

    auto *layout = new QVBoxLayout(this);
    auto *row = new QHBoxLayout;
    row->addWidget(_play);
    row->addWidget(_pause);
    row->addWidget(_stop);
    row->addStretch();
    layout->addLayout(row);
    layout->addWidget(_bar);
    layout->addWidget(video);
    layout->addStretch();

    connect(_play, &QPushButton::clicked, &_player, &QMediaPlayer::play);
    connect(_pause, &QPushButton::clicked, &_player, &QMediaPlayer::pause);
    connect(_stop, &QPushButton::clicked, &_player, &QMediaPlayer::stop);
    connect(&_player, &QMediaPlayer::positionChanged, this, &MediaPanel::refresh);
    connect(&_player, &QMediaPlayer::durationChanged, this, &MediaPanel::refresh);
    _player.setVideoOutput(video); // no sound in the clip, so no audio output

    // Settings are read afresh by every event: set them before the first report.
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->channel = QStringLiteral("Example channel");
    media->trackMilestones = QStringLiteral("25,50,75");
    media->segmentByMilestones = true;
    shownBy = this;
    media->mediaMeasurementDelegate = &MediaPanel::mediaEvent;
    // The tracker, a child of the panel, reports all that the player does from here on. The
    // clip was made by the build, next to the program.
    auto *tracker = new KEOMediaTracker(&_player, this);
    tracker->setName(QStringLiteral("Harbour timelapse"));
    tracker->setPlayerName(QStringLiteral("Widgets player"));
    tracker->setPlayerID(QStringLiteral("player-1"));
    const QUrl clip = QUrl::fromLocalFile(
        QDir(QCoreApplication::applicationDirPath()).filePath("harbour-timelapse.ogv"));
    // Qt 6 renamed the play state and the source, and tells the position often by itself.
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    connect(&_player, &QMediaPlayer::playbackStateChanged, this, &MediaPanel::refresh);
    _player.setSource(clip);
#else
    connect(&_player, &QMediaPlayer::stateChanged, this, &MediaPanel::refresh);
    _player.setNotifyInterval(100);
    _player.setMedia(clip);
#endif
    refresh();
}

MediaPanel::~MediaPanel() {
    KEOMediaAnalytics::sharedInstance()->mediaMeasurementDelegate = nullptr;
    // A report waits for any delegate call still running, so after the tracker's close (as it
    // goes, before the player) none can reach the panel any more.
    shownBy = nullptr;
}

void MediaPanel::refresh() {
    const double position = _player.position() / 1000.0, length = _player.duration() / 1000.0;
    _bar->setRange(0, int(std::max<qint64>(_player.duration(), 1)));
    _bar->setValue(int(_player.position()));
    _bar->setFormat(QStringLiteral("%1 of %2 s").arg(position, 0, 'f', 1).arg(length, 0, 'f', 1));
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    const QMediaPlayer::PlaybackState state = _player.playbackState();
#else
    const QMediaPlayer::State state = _player.state();
#endif
    _play->setEnabled(state != QMediaPlayer::PlayingState);
    _pause->setEnabled(state == QMediaPlayer::PlayingState);
    _stop->setEnabled(state != QMediaPlayer::StoppedState);
}

void MediaPanel::mediaEvent(KEOMediaState *snapshot) {
    const std::unique_ptr<KEOMediaState> state(snapshot); // the delegate owns the snapshot
    // The once-a-second tick only says that play goes on.
    if (state->mediaEvent == QLatin1String("MONITOR"))
        return;
    QString text = QStringLiteral("Media: %1 %2 at %3 s")
                       .arg(state->mediaEvent, state->name)
                       .arg(state->offset, 0, 'f', 1);
    if (state->mediaEvent == QLatin1String("MILESTONE"))
        text += QStringLiteral(" (%1 %)").arg(state->milestone);
    MediaPanel *panel = shownBy.load();
    // Posted, never waited for: the UI thread may itself be inside a media report, which
    // waits for this delegate to return.
    if (panel != nullptr)
        QMetaObject::invokeMethod(
            panel, [panel, text] { panel->_status->showMessage(text); }, Qt::QueuedConnection);
}
