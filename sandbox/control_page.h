// The page in the browser from which a person switches the live titles and watches the pings come in. Any thread.
#pragma once

#include <string_view>

namespace quorel::sandbox {

std::string_view controlPage();  // HTML

}  // namespace quorel::sandbox
