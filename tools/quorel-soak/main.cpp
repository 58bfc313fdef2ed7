// quorel-soak: plays for an hour against a server that misbehaves, and looks at what becomes of the player.

#include <cstdio>

#include "quorel/foundation/error.h"
#include "tools/quorel-soak/arguments.h"
#include "tools/quorel-soak/soak.h"

int main(int argc, char** argv) {
    using namespace quorel;
    const auto parsed =
        soak::parseArguments(std::vector<std::string_view>(argv + (argc > 0 ? 1 : 0), argv + argc));
    if (const auto* message = std::get_if<soak::Message>(&parsed)) {
        std::fputs(message->text.c_str(), message->exitCode == 0 ? stdout : stderr);
        return message->exitCode;
    }
    try {
        return soak::run(std::get<soak::Arguments>(parsed));
    } catch (const Error& error) {
        std::fprintf(stderr, "quorel-soak: %s\n", error.what());
        return 1;
    }
}
