#include "replay/doubts.h"

#include "image/escape.h"
#include "image/host_path.h"
#include "image/image_error.h"
#include "platform/simulated/machine/installer_tree.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/unicode.h"

#include <algorithm>

namespace replay {

namespace fs = std::filesystem;

namespace {

using platform::simulated::EncodeUtf8;
using platform::simulated::FindProduct;
using platform::simulated::FoldCase;
using platform::simulated::Machine;
using platform::simulated::Registry;

/// What lies at the top of an image, and what below it looks like an export.
struct Contents {
    bool hasExport = false;
    bool hasDriveC = false;
    std::vector<std::string> misplaced;  ///< why each of them is not read
};

std::string FoldName(const fs::path& path) {
    return EncodeUtf8(
        FoldCase(platform::simulated::DecodeUtf8(image::ShowPath(path)).value_or(u"")));
}

bool IsExport(const fs::path& path) {
    return FoldName(path.extension()) == ".REG";
}

void LookIntoFolder(const fs::path& folder, Contents& contents) {
    const std::string name = image::ShowPath(folder.filename());
    if (name == "C")
        contents.hasDriveC = true;
    else if (FoldName(name) == "C")
        contents.misplaced.push_back(name + " is not read: drive C: is the folder C");
    const bool isDrive = FoldName(name) == "C";
    constexpr auto kGoOn = fs::directory_options::skip_permission_denied;
    fs::recursive_directory_iterator entry(folder, kGoOn);
    for (; entry != fs::recursive_directory_iterator(); ++entry) {
        // Of a drive, which may be large, the top alone.
        if (isDrive)
            entry.disable_recursion_pending();
        if (IsExport(entry->path()))
            contents.misplaced.push_back(
                entry->path().lexically_relative(folder.parent_path()).generic_string() +
                " is not read: exports lie beside machine.ini, not in a folder below");
    }
}

Contents LookInto(const fs::path& image) {
    Contents contents;
    for (const fs::directory_entry& entry : fs::directory_iterator(image)) {
        const std::string name = image::ShowPath(entry.path().filename());
        if (entry.is_directory())
            LookIntoFolder(entry.path(), contents);
        else if (IsExport(entry.path()))
            contents.hasExport = true;
        else if (FoldName(name).find(".REG.") != std::string::npos)
            contents.misplaced.push_back(name + " is not read: the name of an export ends in .reg");
    }
    std::sort(contents.misplaced.begin(), contents.misplaced.end());
    return contents;
}

void DoubtProduct(const Registry& registry, const std::u16string& productCode,
                  std::vector<std::string>& doubts) {
    const std::string code = "the product code \"" + EncodeUtf8(productCode) + "\"";
    const std::optional<std::u16string> known = FindProduct(registry, productCode);
    if (!platform::simulated::IsGuid(productCode))
        doubts.push_back(code + " is no GUID in braces");
    else if (!known)
        doubts.push_back(code + " is of no product that this machine knows");
    else if (*known != productCode)
        doubts.push_back(code + " is " + EncodeUtf8(*known) +
                         " on this machine: the program goes by the letter case of some of its "
                         "characters");
}

}  // namespace

std::vector<std::string> ListDoubts(const fs::path& folder, const Machine& machine,
                                    const std::vector<std::u16string>& arguments) {
    Contents contents;
    try {
        contents = LookInto(folder);
    } catch (const fs::filesystem_error& error) {
        throw image::ImageError(image::ShowPath(error.path1()), 0, error.code().message());
    }
    std::vector<std::string> doubts = contents.misplaced;
    if (!contents.hasExport)
        doubts.emplace_back("no registry export (*.reg): the machine knows no product");
    if (!contents.hasDriveC)
        doubts.emplace_back("no folder C: the machine has no packages and no folder for a log");
    if (arguments.empty())
        doubts.emplace_back(
            "no arguments, neither in args.txt nor behind --: the run does nothing");
    else if (contents.hasExport)
        DoubtProduct(machine.registry, arguments.front(), doubts);
    std::transform(doubts.begin(), doubts.end(), doubts.begin(),
                   [](const std::string& doubt) { return image::EscapeControls(doubt); });
    return doubts;
}

}  // namespace replay
