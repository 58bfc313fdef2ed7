// Serves the titles of the sandbox, and "plain", which is "sample" without subtitles, until its input ends. Says where
// it listens in its first line.
#include <iostream>

#include "sandbox/sandbox.h"

int main() {
    using namespace quorel::sandbox;
    Sandbox sandbox;
    for (Title title : sandbox.titles()) {
        if (title.id != "sample") continue;
        title.id = "plain";
        title.subtitles.clear();
        sandbox.setTitle(title);
    }
    sandbox.start();
    std::cout << sandbox.baseURL() << std::endl;
    std::cin.get();
}
