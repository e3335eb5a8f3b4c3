// What the tool, as a host of the library, brings along: its name and its log.

#ifndef CONFIGAPI_TOOLS_HOST_H_
#define CONFIGAPI_TOOLS_HOST_H_

#include <string>

namespace configapi::tool {

// The library's log lines are for people who look for a fault: they appear
// when CONFIGAPI_LOG_LEVEL is set or after this call.
void show_log();

// From now on they do not, whatever was said before.
void hide_log();

// The text of the last error (level 1) that the library logged, and forgets
// it; empty when there was none. It says why a call failed.
std::string take_last_error();

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_HOST_H_
