// The page that a person sees who opens the sandbox in a browser. A pure function; any thread.
#pragma once

#include <string>
#include <vector>

#include "sandbox/titles.h"

namespace quorel::sandbox {

// HTML: the titles with their addresses, and what else can be asked for.
std::string landingPage(const std::vector<Title>& titles, const std::string& baseURL, const std::string& token);

}  // namespace quorel::sandbox
