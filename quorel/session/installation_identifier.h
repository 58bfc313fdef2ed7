// Who this installation is, for services that count viewers: a UUID of its own, made once and kept.
//
//   InstallationIdentifier identifier;             // in the user's state folder
//   identifier.identifierForVendor();              // "6F9619FF-8B86-4D01-B42D-00CF4FC964FF"
#pragma once

#include <filesystem>
#include <mutex>
#include <optional>
#include <string>

#include "quorel/session/export.h"

namespace quorel {

// Gives the identifier that a device has for all applications of one vendor. Any thread.
class QUOREL_VISIBLE VendorIdentifier {
public:
    virtual ~VendorIdentifier() = default;
    // A UUID in upper-case text (RFC 4122 3), the same at every call. Absent where there is none.
    virtual std::optional<std::string> identifierForVendor() = 0;
};

// Where the platform has no such identifier, one for this installation takes its place. It is read, or made, by the
// first call, and costs no system call after that.
//
// The file "quorel/installation-id" holds one line. It is private to the user (mode 0600, new folders 0700), and
// never seen half written; processes that make it at the same moment agree on one. A file that holds no UUID is
// replaced. Where the folder cannot be written to, the identifier lives as long as this object.
class QUOREL_SESSION_API InstallationIdentifier final : public VendorIdentifier {
public:
    // `stateFolder` is where the folder "quorel" lies; empty: nothing is kept.
    explicit InstallationIdentifier(std::filesystem::path stateFolder = defaultStateFolder());

    // $XDG_STATE_HOME where that is an absolute path, else ~/.local/state (XDG Base Directory Specification 0.8).
    // Empty for a user without a home, which means nothing is kept.
    static std::filesystem::path defaultStateFolder();

    std::optional<std::string> identifierForVendor() override;

private:
    const std::filesystem::path folder_;
    std::mutex mutex_;
    std::optional<std::string> identifier_;
};

}  // namespace quorel
