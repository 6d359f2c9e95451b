#include "Foundation/PrivateFolder.h"

#include "Foundation/FileDescriptor.h"

#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>
#include <system_error>

namespace tandrel {

void makePrivateFolder(const std::string& path) {
    std::error_code ignored;
    std::filesystem::create_directories(std::filesystem::path(path).parent_path(), ignored);
    ::mkdir(path.c_str(), 0700);
    // Through a descriptor, so that it is a folder and not a link whose mode changes.
    const FileDescriptor folder(
        ::open(path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (folder) {
        ::fchmod(folder.get(), 0700);
    }
}

} // namespace tandrel
