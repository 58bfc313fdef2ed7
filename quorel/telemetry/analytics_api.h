// Posts what analytics has to tell. It reports nothing back: whatever goes wrong, the post is lost in silence.
//
//   AnalyticsAPI api(session);
//   api.post(JSONObject{{"eventos", JSONArray{...}}});
//
// Main run loop's thread only. The session must outlive it.
#pragma once

#include <string_view>

#include "quorel/foundation/json.h"
#include "quorel/foundation/url.h"
#include "quorel/session/quorel.h"
#include "quorel/telemetry/export.h"

namespace quorel {

class QUOREL_TELEMETRY_API AnalyticsAPI {
public:
    // A text that is no URL is a programming error and stops the process.
    explicit AnalyticsAPI(Quorel& session, std::string_view ingestURL = defaultBaseURL());

    // The cache variable QUOREL_INGEST_URL of the build. A host of its own, apart from the backend's.
    static std::string_view defaultBaseURL();
    const URL& baseURL() const { return baseURL_; }

    // One POST with the session's `ssid` in the header x-quorel-ssid, and nothing at all without an ssid. A payload
    // that cannot be written as JSON (a position that is not finite) goes out as a POST without body and type.
    void post(const JSONObject& payload);

private:
    Quorel& session_;
    const URL baseURL_;
};

}  // namespace quorel
