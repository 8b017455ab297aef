// The module's rules for context data, and the screens of a SwipeView and a Loader.
import QtQuick 2.15
import QtQuick.Controls 2.15
import QtQuick.Window 2.15
import KEOMobile 4.0

Window {
    id: window
    visible: true
    width: 200
    height: 100

    property var values: ({
        text: "a b", whole: 3, real: -2.5, big: 1e21, yes: true, no: false,
        none: null, gone: undefined, shop: { cart: { items: 3, owner: null } }, list: ["x", 7]
    })

    Component.onCompleted: {
        KEOMobile.userIdentifier = "qml-user"
        KEOMobile.privacyStatus = KEOMobile.PrivacyStatusOptOut
        KEOMobile.debugLogging = true
        KEOMobile.trackAction("Data", values)
        console.log("read back:", KEOMobile.userIdentifier, KEOMobile.privacyStatus,
                    KEOMobile.debugLogging)
    }

    SwipeView {
        anchors.fill: parent
        currentIndex: 1
        Item { KEOScreen.name: "Beside" }
        Item { KEOScreen.name: "Swiped"; KEOScreen.data: window.values }
        Item { KEOScreen.name: "Beside" }
    }
    Loader {
        sourceComponent: Item {
            property bool shown: false
            KEOScreen.name: "Loaded"
            KEOScreen.data: ({ from: shown ? "changed while shown" : "loader" })
            Timer { running: true; interval: 200; onTriggered: parent.shown = true }
        }
    }
    Item { KEOScreen.name: "Disabled"; KEOScreen.enabled: false }
    Item {
        visible: false
        Item { KEOScreen.name: "Hidden" }
    }
}
