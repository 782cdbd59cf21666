#include "contract/world.h"
#include "platform/modules.h"
#include "support/host_files.h"

namespace contract {

namespace fs = std::filesystem;

const bool kIsWine = platform::GetProcAddress(platform::GetModuleHandleW(u"ntdll.dll"),
                                              "wine_get_version") != nullptr;

void PutFile(const std::u16string& path, std::string_view bytes) {
    fs::create_directories(fs::path(path).parent_path());
    std::ofstream(fs::path(path), std::ios::binary) << bytes;
}

std::string ReadFile(const std::u16string& path) {
    return test::ReadFile(path);
}

void SetReadOnly(const std::u16string& path, bool isReadOnly) {
    const fs::perm_options change = isReadOnly ? fs::perm_options::remove : fs::perm_options::add;
    fs::permissions(path, fs::perms::owner_write, change);
}

}  // namespace contract
