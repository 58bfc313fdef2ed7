#include "quorel/player/controller.h"

namespace quorel {

// Until the details' ad groups are read, no content has ad tags.
std::vector<AdDescription> QuorelPlayerViewController::makeAds() const {
    return {};
}

}  // namespace quorel
