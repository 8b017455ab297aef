import QtQuick 2.15
import QtMultimedia 5.15
import KEOMobile 4.0

// Two players, each followed by a KEOMediaTracker and nothing else; the host plays the one that
// its argument names.
Item {
    Component.onCompleted: [KEOMediaAnalytics.trackMilestones = "25,50,75",
                            KEOMediaAnalytics.segmentByMilestones = true]
    MediaPlayer { id: mediaPlayer; objectName: "MediaPlayer" }
    KEOMediaTracker { player: mediaPlayer; playerName: "QML MediaPlayer" }
    Video { id: video; objectName: "Video"; width: 160; height: 120 }
    KEOMediaTracker { player: video; playerName: "QML Video"; playerID: "video-1" }
}
