#include "image/image_error.h"
#include "image/machine_ini.h"
#include "image/reg_file.h"
#include "platform/simulated/packages/package_database.h"

#include <cstddef>
#include <cstdint>
#include <string>

/// Gives libFuzzer's bytes to one of the readers of foreign formats, which the first byte chooses.
/// No input may crash or hang a reader, or make it take more memory than libFuzzer's limit.

namespace {

void ReadPackage(std::string bytes) {
    std::optional<std::uint32_t> unknownCodePage;
    const auto database =
        platform::simulated::PackageDatabase::Open(std::move(bytes), unknownCodePage);
    if (!database)
        return;
    const auto rows = database->Select(u"SELECT `Property`, `Value` FROM `MsiPatchMetadata`");
    std::u16string buffer;
    for (std::size_t row = 0; rows && row < rows->CountRows(); ++row) {
        for (const std::size_t field : {1U, 2U})
            (void)rows->GetField(row, field, buffer);
    }
}

/// What is read has to be written in a form that reads as the same.
void ReadRegistry(const std::string& bytes) {
    platform::simulated::Registry registry;
    image::ReadRegFile("fuzz.reg", bytes, u"S-1-5-18", registry);
    const std::string written = image::FormatRegFile(registry);
    platform::simulated::Registry again;
    image::ReadRegFile("again.reg", written, u"S-1-5-18", again);
    if (image::FormatRegFile(again) != written)
        __builtin_trap();
}

void ReadMachine(const std::string& bytes) {
    platform::simulated::Machine machine;
    image::ReadMachineIni("fuzz.ini", bytes, machine);
    const std::string written = image::RewritePackages(bytes, machine.drive);
    platform::simulated::Machine again;
    image::ReadMachineIni("again.ini", written, again);
    if (image::FormatMachineIni(again) != image::FormatMachineIni(machine))
        __builtin_trap();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    if (size == 0)
        return 0;
    std::string bytes(data + 1, data + size);
    try {
        switch (*data % 3) {
        case 0:
            ReadPackage(std::move(bytes));
            break;
        case 1:
            ReadRegistry(bytes);
            break;
        default:
            ReadMachine(bytes);
        }
    } catch (const image::ImageError&) {
        // A fault that is named is what a reader is to give.
    }
    return 0;
}
