// A player with a button of one's own, in 15 lines.
// [player]
import QtQuick
import Quorel

Window {
    property string film
    width: 1280; height: 720; visible: true; color: "black"
    PlayerController { id: facade }
    QuorelPlayer {
        anchors.fill: parent; focus: true
        contentId: film; controller: facade
    }
    Text { text: facade.isMuted ? "Sound on" : "Sound off"; color: "white"; x: 16; y: 16; font.pixelSize: 16
           TapHandler { onTapped: facade.isMuted ? facade.unmute() : facade.mute() } }
}
// [/player]
