// A button of the header that shows whether its pane is open.
import QtQuick

Rectangle {
    id: button
    property string text
    property bool open: false
    signal clicked

    implicitWidth: label.implicitWidth + 24
    implicitHeight: 28
    radius: 6
    color: area.pressed ? "#3a4150" : area.containsMouse ? "#2c323e" : open ? "#242a34" : "transparent"
    border.width: activeFocus ? 2 : 0
    border.color: "#ffffff"
    activeFocusOnTab: true
    Accessible.role: Accessible.Button
    Accessible.name: text
    Accessible.onPressAction: clicked()
    Keys.onSpacePressed: clicked()
    Keys.onReturnPressed: clicked()

    Text {
        id: label
        anchors.centerIn: parent
        text: button.text
        color: button.open ? "#ffffff" : "#aab2c0"
        font.pixelSize: 13
    }
    MouseArea {
        id: area
        anchors.fill: parent
        hoverEnabled: true
        cursorShape: Qt.PointingHandCursor
        onClicked: button.clicked()
    }
}
