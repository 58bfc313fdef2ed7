// Private to this tool. A loop, a server, services, and who watches; torn down as an application would.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "engines/vast/vast_ad_service.h"
#include "quorel/foundation/run_loop.h"
#include "quorel/foundation/url_session.h"
#include "sandbox/sandbox.h"
#include "tools/quorel-soak/viewer.h"

namespace quorel::soak {

struct House {
    House();
    House(const House&) = delete;
    House& operator=(const House&) = delete;

    // Lets the viewer go, who stays among those who have left.
    void leave();
    // Nothing is loaded any more: what still waits for an answer has one.
    static void refuseLoads();
    bool allGone() const;
    void tearDown();

    std::shared_ptr<RealRunLoop> loop = std::make_shared<RealRunLoop>();
    sandbox::Sandbox backend;
    std::uint16_t port = 0;
    std::shared_ptr<UrlSession> network = std::make_shared<UrlSession>();
    std::shared_ptr<VastAdService> ads;
    std::shared_ptr<Viewer> viewer;
    std::vector<std::shared_ptr<Viewer>> left;
    bool mayHaveScreen = false;  // of the viewer: a status screen stays said
    std::string lastTitle;
};

}  // namespace quorel::soak
