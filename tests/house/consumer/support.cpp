#include <quorel/support/regex.h>

int main() {
    return quorel::Regex(R"((\d+):(\d{2}))").firstMatch("at 12:30")->captureString(1) == "30" ? 0 : 1;
}
