#include "MediaPanel.h"

#include <KEOMediaAnalytics.h>

#include <QHBoxLayout>
#include <QMouseEvent>
#include <QProgressBar>
#include <QPushButton>
#include <QStatusBar>
#include <QVBoxLayout>

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
            onSeek(std::clamp(event->x() / double(width()), 0.0, 1.0));
    }
};

namespace {

const QString kClip = QStringLiteral("Harbour timelapse");
const double kLength = 8.0; // seconds
const QSize kButtonSize(140, 34);

// The panel that shows media events: set and cleared on the UI thread, read by the delegate
// on whichever thread reports.
std::atomic<MediaPanel *> shownBy{nullptr};

} // namespace

MediaPanel::MediaPanel(QStatusBar *status, QWidget *parent) : QWidget(parent), _status(status) {
    _play = new QPushButton(QStringLiteral("Play"));
    _pause = new QPushButton(QStringLiteral("Pause"));
    _play->setFixedSize(kButtonSize);
    _pause->setFixedSize(kButtonSize);
    _bar = new SeekBar;
    _bar->setRange(0, int(kLength * 10));
    _bar->setFixedHeight(28);
    _bar->onSeek = [this](double fraction) { seek(fraction); };

    auto *layout = new QVBoxLayout(this);
    auto *row = new QHBoxLayout;
    row->addWidget(_play);
    row->addWidget(_pause);
    row->addStretch();
    layout->addLayout(row);
    layout->addWidget(_bar);
    layout->addStretch();

    connect(_play, &QPushButton::clicked, this, &MediaPanel::play);
    connect(_pause, &QPushButton::clicked, this, &MediaPanel::pause);
    connect(&_decoder, &QTimer::timeout, this, &MediaPanel::decode);
    _decoder.setInterval(100);

    // Settings are read afresh by every event: set them before the first report.
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->channel = QStringLiteral("Example channel");
    media->trackMilestones = QStringLiteral("25,50,75");
    media->segmentByMilestones = true;
    shownBy = this;
    media->mediaMeasurementDelegate = &MediaPanel::mediaEvent;
    refresh();
}

MediaPanel::~MediaPanel() {
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    media->mediaMeasurementDelegate = nullptr;
    // A report waits for any delegate call still running, so after this close none can reach
    // the panel any more.
    media->close(kClip);
    shownBy = nullptr;
}

void MediaPanel::play() {
    if (_playing)
        return;
    KEOMediaAnalytics *media = KEOMediaAnalytics::sharedInstance();
    if (!_open) {
        if (_offset >= kLength)
            _offset = 0.0;
        media->open(kClip, kLength, QStringLiteral("Widgets player"), QStringLiteral("player-1"));
        _open = true;
    }
    media->play(kClip, _offset);
    _playing = true;
    _clock.start();
    _decoder.start();
    refresh();
}

void MediaPanel::pause() {
    if (!_playing)
        return;
    decode();
    if (!_playing) // the clip ended in that last step
        return;
    _decoder.stop();
    _playing = false;
    KEOMediaAnalytics::sharedInstance()->stop(kClip, _offset);
    refresh();
}

void MediaPanel::seek(double fraction) {
    // A jump is a stop where the clip was and a play where it lands.
    const bool wasPlaying = _playing;
    pause();
    _offset = fraction * kLength;
    if (wasPlaying)
        play();
    refresh();
}

void MediaPanel::decode() {
    _offset = std::min(kLength, _offset + _clock.restart() / 1000.0);
    if (_offset >= kLength) {
        _decoder.stop();
        _playing = false;
        _open = false;
        // The end of the stream: a close this near the end counts as a completed view.
        KEOMediaAnalytics::sharedInstance()->close(kClip);
    }
    refresh();
}

void MediaPanel::refresh() {
    _bar->setValue(int(_offset * 10));
    _bar->setFormat(QStringLiteral("%1 of %2 s").arg(_offset, 0, 'f', 1).arg(kLength, 0, 'f', 1));
    _play->setEnabled(!_playing);
    _pause->setEnabled(_playing);
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
