// The window: titles on the left, the player, and what the player tells below it.
import QtQuick
import QtQuick.Window
import Quorel

Window {
    id: window
    property string contentId: initialTitle
    readonly property var playing: titles.find(title => title.id === contentId) ?? { name: contentId, screens: {} }
    property bool titlesOpen: initialPanes && width >= 760
    property bool eventsOpen: initialPanes && height >= 560
    property alias player: player
    property alias facade: facade

    width: 1280
    height: 800
    minimumWidth: 320
    minimumHeight: 240
    visible: true
    color: "#0f1115"
    title: "Quorel player"

    PlayerController { id: facade }

    Rectangle {
        id: header
        width: parent.width
        height: initialPanes ? 44 : 0
        visible: initialPanes
        color: "#161920"
        Text {
            x: 18
            anchors.verticalCenter: parent.verticalCenter
            width: Math.max(0, buttons.x - x - 12)
            elide: Text.ElideRight
            text: window.playing.name
            color: "#f2f4f8"
            font.pixelSize: 14
            font.bold: true
        }
        Row {
            id: buttons
            anchors.right: parent.right
            anchors.rightMargin: 12
            anchors.verticalCenter: parent.verticalCenter
            spacing: 6
            PaneButton { text: "Titles"; open: window.titlesOpen; onClicked: window.titlesOpen = !window.titlesOpen }
            PaneButton { text: "Events"; open: window.eventsOpen; onClicked: window.eventsOpen = !window.eventsOpen }
        }
    }

    Rectangle {
        id: titlePane
        anchors.top: header.bottom
        anchors.bottom: parent.bottom
        width: Math.min(340, window.width * 0.6)
        visible: window.titlesOpen
        color: "#12151b"
        ListView {
            anchors.fill: parent
            anchors.margins: 10
            clip: true
            spacing: 4
            boundsBehavior: Flickable.StopAtBounds
            model: titles
            delegate: TitleRow {
                required property var modelData
                title: modelData
                width: ListView.view.width
                playing: modelData.id === window.contentId
                onChosen: {
                    if (playing) player.reload()
                    window.contentId = modelData.id
                    player.forceActiveFocus()
                }
            }
        }
    }

    QuorelPlayer {
        id: player
        anchors.top: header.bottom
        anchors.left: titlePane.visible ? titlePane.right : parent.left
        anchors.right: parent.right
        anchors.bottom: eventPane.visible ? eventPane.top : parent.bottom
        focus: true
        contentId: window.contentId
        subtitle: "pt-br"
        controller: facade
    }
    // What a live title shows besides its picture is the application's choice.
    Image {
        anchors.fill: player
        source: window.playing.screens[player.contentState] ?? ""
        visible: source != ""
        fillMode: Image.PreserveAspectFit
        asynchronous: true
        Accessible.role: Accessible.Graphic
        Accessible.name: window.playing.about ?? ""
        Rectangle {
            anchors.fill: parent
            z: -1
            color: "#0b0d12"
        }
    }
    Rectangle {
        parent: player.isFullScreen ? player.fullScreenWindow.contentItem : window.contentItem
        x: (player.isFullScreen ? 0 : player.x) + 16
        y: (player.isFullScreen ? 0 : player.y) + 16
        width: badge.implicitWidth + 16
        height: 24
        radius: 4
        color: "#ff0000"
        visible: player.contentState === "live"
        Text {
            id: badge
            anchors.centerIn: parent
            text: "Live"
            color: "#ffffff"
            font.pixelSize: 14
            font.bold: true
        }
    }
    Connections {
        target: facade
        function onMetadataChanged() {
            if (facade.metadata && facade.metadata.isLive) facade.play()
        }
    }

    Rectangle {
        id: eventPane
        anchors.left: player.left
        anchors.right: parent.right
        anchors.bottom: parent.bottom
        height: Math.min(170, window.height * 0.3)
        visible: window.eventsOpen
        color: "#12151b"
        ListView {
            id: events
            anchors.fill: parent
            anchors.margins: 12
            clip: true
            boundsBehavior: Flickable.StopAtBounds
            model: ListModel { id: lines }
            delegate: Text {
                required property string line
                width: ListView.view.width
                text: line
                elide: Text.ElideRight
                color: "#b7bfcc"
                font.family: "monospace"
                font.pixelSize: 12
                lineHeight: 1.25
            }
        }
        Text {
            anchors.centerIn: parent
            visible: lines.count === 0
            text: "What the player tells its application appears here."
            color: "#7d8695"
            font.pixelSize: 13
        }
    }
    Connections {
        target: eventLog
        function onAppended(line) {
            const follow = events.atYEnd
            if (lines.count >= 500) lines.remove(0, 100)
            lines.append({ line: line })
            if (follow) events.positionViewAtEnd()
        }
    }
}
