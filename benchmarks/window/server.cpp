// Serves the titles of the sandbox, and "sample-720", the best variant of "sample" alone, until its input ends. Says where
// it listens in its first line.
#include <iostream>

#include "sandbox/sandbox.h"

int main() {
    using namespace quorel::sandbox;
    Sandbox sandbox;
    Title title{"sample-720", "Sandbox sample", "one variant", "sample/720/playlist.m3u8", {}};
    sandbox.setTitle(title);
    sandbox.start();
    std::cout << sandbox.baseURL() << std::endl;
    std::cin.get();
}
