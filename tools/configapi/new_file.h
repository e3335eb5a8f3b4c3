// Files that are written whole or not at all.

#ifndef CONFIGAPI_TOOLS_NEW_FILE_H_
#define CONFIGAPI_TOOLS_NEW_FILE_H_

#include <string>
#include <string_view>

namespace configapi::tool {

// Puts a file with this content in the place of the one at the path, if there
// is one; only its owner may read and write it. The content is on the disk
// before the old file goes. A symbolic link stays, and what it leads to is
// replaced. Throws a Failure (kFile), and then leaves the old file as it was;
// devices, pipes and folders are refused.
void replace_file(const std::string& path, std::string_view content);

}  // namespace configapi::tool

#endif  // CONFIGAPI_TOOLS_NEW_FILE_H_
