// One title of the list.
import QtQuick

Rectangle {
    id: row
    required property var title
    property bool playing: false
    signal chosen

    height: 60
    radius: 8
    color: area.pressed ? "#343b49" : playing ? "#2b313d" : area.containsMouse ? "#222730" : "transparent"
    border.width: activeFocus ? 2 : 0
    border.color: "#ffffff"
    activeFocusOnTab: true
    Accessible.role: Accessible.ListItem
    Accessible.name: title.name + ", " + title.about
    Accessible.onPressAction: chosen()
    Keys.onSpacePressed: chosen()
    Keys.onReturnPressed: chosen()

    Rectangle {
        x: 0
        anchors.verticalCenter: parent.verticalCenter
        width: 3
        height: 32
        radius: 1.5
        color: "#ffc857"
        visible: row.playing
    }
    Text {
        id: name
        x: 14
        y: 10
        width: parent.width - x - (live.visible ? live.width + 22 : 12)
        text: row.title.name
        elide: Text.ElideRight
        color: "#f2f4f8"
        font.pixelSize: 14
        font.bold: true
    }
    Text {
        x: 14
        anchors.top: name.bottom
        anchors.topMargin: 4
        width: parent.width - x - 12
        text: row.title.about
        elide: Text.ElideRight
        color: "#9aa3b2"
        font.pixelSize: 12
    }
    Rectangle {
        id: live
        visible: row.title.badge !== ""
        anchors.right: parent.right
        anchors.rightMargin: 10
        y: 11
        width: badge.implicitWidth + 12
        height: 18
        radius: 4
        color: row.title.badge === "LIVE" ? "#d3212d" : "#4a5364"
        Text {
            id: badge
            anchors.centerIn: parent
            text: row.title.badge
            color: "#ffffff"
            font.pixelSize: 10
            font.bold: true
        }
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: row.chosen()
    }
}
