// A player as a value in a declarative tree: what the toolkit's adapter needs are a hook to create the view, one to
// update it, one to dismantle it, and an object per view that lives as long as the view does.
//
//   const QuorelPlayerSwiftUI value({.contentId = "film-1", .controller = facade});
//   const QuorelPlayerSwiftUI::Context context{value.makeCoordinator()};
//   auto player = value.makeUIViewController(context);       // show player->view(), keep the context
//   QuorelPlayerSwiftUI::dismantleUIViewController(*player, *context.coordinator);
//
// Main run loop's thread only.
#pragma once

#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>

#include "quorel/facade/export.h"
#include "quorel/facade/player_controller.h"
#include "quorel/player/controller.h"
#include "quorel/player/events.h"

namespace quorel {

struct QUOREL_FACADE_API QuorelPlayerSwiftUI {
    // What the initialiser takes; all of it may be left out.
    struct Arguments {
        std::optional<std::string> contentId = {};
        bool hideUI = false;
        double startTime = 0;  // seconds
        std::optional<std::string> subtitle = {};
        std::map<std::string, std::string> customImaParams = {};
        std::shared_ptr<PlayerController> controller = nullptr;  // null: a new one is made
    };
    // The value makes nothing yet; makeUIViewController() does.
    explicit QuorelPlayerSwiftUI(Arguments arguments);

    std::optional<std::string> contentId;  // absent: an empty player
    bool hideUI = false;                   // no overlay is drawn
    double startTime = 0;                  // seconds
    // The facade. It has no other owner inside the SDK.
    std::shared_ptr<PlayerController> controller;
    std::optional<std::string> subtitle;  // the language to begin with
    std::map<std::string, std::string> customImaParams;

    // Turns the player's events into writes of the facade's properties, and prints each event as a log line. Errors,
    // ads and full screen show in no property, and `ended` leaves isPlaying as it was.
    class QUOREL_FACADE_API Coordinator final : public QuorelPlayerListener {
    public:
        void onEvent(const QuorelPlayerEvent& event) override;

        std::weak_ptr<PlayerController> controller;  // absent until the view is made
    };

    // What the toolkit keeps for the life of the view.
    struct Context {
        std::shared_ptr<Coordinator> coordinator;
        // Where view controllers come from; empty for those of the process's session.
        std::function<std::shared_ptr<QuorelPlayerViewController>()> makeViewController = {};
    };

    std::shared_ptr<Coordinator> makeCoordinator() const { return std::make_shared<Coordinator>(); }

    // Makes the view and begins to load the content. Without a contentId the player is empty and the facade hears
    // nothing of it, not even when it is set up later.
    std::shared_ptr<QuorelPlayerViewController> makeUIViewController(const Context& context) const;

    // Deliberately nothing: other arguments have no effect on a view that is there. To load another content, the
    // application makes the view anew.
    void updateUIViewController(QuorelPlayerViewController&, const Context&) const {}

    // Ends the view's player, if it has an engine by now. The facade's properties keep their last values.
    static void dismantleUIViewController(QuorelPlayerViewController& viewController, Coordinator& coordinator);
};

}  // namespace quorel
