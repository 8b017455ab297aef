// Each page names its screen with KEOScreen; the library reports it each time the user comes
// to it: the StackView's pages as they are pushed and popped back to, the tabs as they are
// chosen, the dialog as it opens. Buttons report actions with KEOMobile.trackAction. The video
// is followed by a KEOMediaTracker, which reports its view, milestones and close.
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Layouts 1.15
import QtMultimedia 5.15 // Qt 6 takes it too, for Video (its MediaPlayer needs version 6)
import KEOMobile 4.0

ApplicationWindow {
    id: window
    title: "KEO Quick Example"
    // Fixed sizes keep every control where a user (and the GUI test) expects it.
    width: 560
    height: 400
    minimumWidth: width
    maximumWidth: width
    minimumHeight: height
    maximumHeight: height
    visible: true

    property int cartItems: 0

    // Launches and sessions follow this window's activation, through the application object.
    Component.onCompleted: {
        KEOMobile.collectLifecycleData()
        // Read afresh at every media report.
        KEOMediaAnalytics.trackMilestones = "25,50,75"
        KEOMediaAnalytics.segmentByMilestones = true
    }

    component ActionButton: Button {
        width: 140
        height: 34
        y: 20
    }
    component Explanation: Label {
        x: 20
        y: 70
        width: 520
        wrapMode: Text.WordWrap
    }

    header: TabBar {
        id: tabs
        height: 40
        contentHeight: 40 // the buttons fill the bar, whatever the style
        TabButton { text: "Shop"; width: 120 }
        TabButton { text: "News"; width: 120 }
        TabButton { text: "Account"; width: 120 }
        TabButton { text: "Watch"; width: 120 }
    }

    StackLayout {
        anchors.fill: parent
        currentIndex: tabs.currentIndex

        StackView {
            id: shop
            initialItem: Page {
                KEOScreen.name: "Products"
                KEOScreen.data: ({ shop: { list: { count: 3 } } })
                ActionButton {
                    x: 20
                    text: "Open product"
                    onClicked: shop.push(productPage, { product: 42 })
                }
                Explanation {
                    text: "A shop's list of products. Each page names its screen with KEOScreen; "
                          + "the library reports it each time the user comes to it."
                }
            }
        }

        Page {
            KEOScreen.name: "News"
            KEOScreen.data: ({ news: { unread: 2, pinned: true } })
            ActionButton {
                x: 20
                text: "Share"
                onClicked: KEOMobile.trackAction("Share", { share: { channel: "mail" } })
            }
            Explanation {
                text: "A tab of the StackLayout: reported each time it is chosen, never while "
                      + "another tab is shown."
            }
        }

        Page {
            KEOScreen.name: "Account"
            ActionButton {
                x: 20
                text: "Sign in"
                onClicked: {
                    // The application's own visitor identifier goes with every later hit.
                    KEOMobile.userIdentifier = "user-7"
                    KEOMobile.trackAction("SignIn", { account: { method: "password" } })
                }
            }
            ActionButton {
                x: 180
                text: "Delete account"
                onClicked: confirm.open()
            }
            Explanation {
                text: "Signing in sets the visitor identifier that every later hit carries as "
                      + "\"vid\". The dialog is a screen of its own while it is open."
            }
        }

        Page {
            KEOScreen.name: "Watch"
            ActionButton {
                x: 20
                text: "Play"
                onClicked: video.play()
            }
            ActionButton {
                x: 180
                text: "Pause"
                onClicked: video.pause()
            }
            Slider {
                id: seekBar
                x: 20
                y: 70
                width: 300
                height: 40 // whatever the style's own, so that a click lands where it did
                to: Math.max(video.duration, 1)
                value: video.position // moved by the user, the slider keeps following the video
                onMoved: video.seek(value)
            }
            Label {
                x: 340
                y: 80
                text: (video.position / 1000).toFixed(1) + " of " + (video.duration / 1000).toFixed(1)
                      + " s"
            }
            Video {
                id: video
                x: 20
                y: 120
                width: 240
                height: 135
                source: clipUrl
            }
            // Debian's Qt 6.4 corrupts its heap at exit when a Video that has played still
            // holds its source; let it go first.
            Connections {
                target: Qt.application
                function onAboutToQuit() { video.source = "" }
            }
            // Every report of the video's view, from its play, pauses, seeks and end.
            KEOMediaTracker {
                player: video
                name: "Harbour timelapse"
                playerName: "Quick player"
            }
        }
    }

    Component {
        id: productPage
        Page {
            property int product
            KEOScreen.name: "Product"
            KEOScreen.data: ({ shop: { product: product } })
            ActionButton {
                x: 20
                text: "Back"
                onClicked: shop.pop()
            }
            ActionButton {
                x: 180
                text: "Add to cart"
                onClicked: KEOMobile.trackAction("AddToCart",
                                                 { shop: { product: product, cart: { items: ++cartItems } } })
            }
            Explanation {
                text: "Pushed on the StackView: reported as it comes in; \"Back\" pops it, and "
                      + "the list is reported again."
            }
        }
    }

    Dialog {
        id: confirm
        KEOScreen.name: "ConfirmDelete"
        x: 130
        y: 20
        width: 300
        height: 150
        // The title in the content, whose padding is set: each style draws a title of its own
        // height, which would move the button.
        padding: 12
        modal: true
        Label {
            text: "Delete the account?"
            font.bold: true
        }
        ActionButton {
            x: 0
            y: 40
            text: "Keep it"
            onClicked: {
                KEOMobile.trackAction("KeepAccount")
                confirm.close()
            }
        }
    }
}
