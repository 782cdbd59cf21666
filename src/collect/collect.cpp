#include "collect/collect.h"

#include "cleanup/package_removal.h"
#include "collect/command_line.h"
#include "collect/file_parts.h"
#include "collect/progress.h"
#include "collect/registry_parts.h"
#include "collect/status.h"
#include "collect/system_parts.h"
#include "image/image.h"
#include "platform/installer.h"
#include "platform/simulated/texts/unicode.h"
#include "product/cleanup_key.h"
#include "product/product_track.h"
#include "records/cleanup_store.h"

#include <exception>
#include <ios>
#include <ostream>
#include <set>
#include <utility>

namespace collect {

namespace fs = std::filesystem;

namespace {

using platform::simulated::EncodeUtf8;
using platform::simulated::Machine;

/// Makes sure that the folder can be written to, can overwrite nothing, and cannot be taken for a
/// package, before anything is collected.
void CheckFolder(const fs::path& folder) {
    const fs::path path = fs::absolute(folder).lexically_normal();
    const std::string name = EncodeUtf8(path.u16string());
    if (fs::exists(path) && !fs::is_directory(path))
        throw UsageError(name + " is not a folder");
    if (fs::exists(path) && !fs::is_empty(path))
        throw UsageError(name + " is not empty");
    if (saltrove::IsInInstallerCache(path.u16string() + u"\\"))
        throw UsageError(name + " lies in the package cache");
    image::TryTarget(folder);
}

Collected CollectMachine(Progress& progress) {
    Collected collected;
    CollectSystem(collected);
    // A run is LocalSystem's as a rule, and what it starts that of a signed-in user.
    std::set<std::u16string> accounts = {collected.machine.process.account,
                                         std::u16string(platform::simulated::kMachineAccount)};
    for (const auto& process : collected.machine.processes)
        accounts.insert(process.account);
    CollectProductKeys(collected, accounts);
    CollectInstallerKeys(collected);
    CollectPackages(collected, progress);
    CollectRunLog(collected);
    return collected;
}

struct PackageCount {
    std::size_t packages = 0;
    std::size_t read = 0;  ///< of which a description was sought and none failed
    std::uintmax_t bytes = 0;
};

PackageCount CountPackages(const Machine& machine) {
    PackageCount count;
    using platform::simulated::FileNode;
    machine.drive.GetNodes().Walk([&](const std::u16string& /*path*/, const FileNode& node) {
        if (!node.reading)
            return;
        ++count.packages;
        count.bytes += node.size;
        if (node.reading->failedStep == platform::simulated::PackageReading::Step::None)
            ++count.read;
    });
    return count;
}

/// The products of the family that have patches.
std::set<std::u16string> FindProducts(Machine& machine) {
    std::set<std::u16string> products;
    platform::simulated::InstallerTree::Delivery delivery;
    for (std::size_t i = 0;
         machine.installer.Enumerate(machine.registry, nullptr, platform::MSIPATCHSTATE_ALL, i,
                                     delivery) == platform::ERROR_SUCCESS;
         ++i) {
        if (!saltrove::GetProductRoot(delivery.productCode).empty())
            products.insert(delivery.productCode);
    }
    return products;
}

/// The version that the last run was given for a product; empty if there was none.
std::u16string FindLastVersion(const Machine& machine, const std::u16string& product) {
    const auto* value =
        machine.registry.FindValue(u"HKEY_LOCAL_MACHINE\\" + saltrove::GetCleanupKeyPath(product),
                                   saltrove::kCurrentPatchVersionValue);
    return value == nullptr || value->type != platform::REG_SZ
               ? std::u16string()
               : platform::simulated::GetText(value->data);
}

/// Says with which command line the image can be replayed, as far as the machine tells.
void TellCommandLine(Machine& machine, const Options& options, const std::string& folder,
                     std::ostream& out) {
    if (options.runArguments) {
        out << "Replay it with: saltrove-replay \"" << folder << "\"\n";
        return;
    }
    const std::set<std::u16string> products = FindProducts(machine);
    if (products.empty())
        out << "No product of the family has patches here.\n";
    if (products.size() > 1) {
        out << "These products of the family have patches here:\n";
        for (const std::u16string& product : products)
            out << "  " << EncodeUtf8(product) << "\n";
    }
    if (products.size() != 1)
        return;
    const std::u16string version = FindLastVersion(machine, *products.begin());
    out << "Replay it with: saltrove-replay \"" << folder << "\" -- \""
        << EncodeUtf8(*products.begin()) << "\" "
        << (version.empty() ? "PRODUCTVERSION" : EncodeUtf8(version)) << "\n";
    if (!version.empty())
        out << "That is the version of the last run.\n";
}

void TellImage(const Collected& collected, const Options& options, const std::string& folder,
               std::ostream& out) {
    const PackageCount count = CountPackages(collected.machine);
    out << folder << ": an image of this machine, with " << count.packages << " packages of "
        << count.bytes << " bytes, " << count.read << " of them read, "
        << (options.withPackages ? "and their bytes" : "and none of their bytes") << "\n";
}

int TellGaps(const Collected& collected, std::ostream& err) {
    for (const std::string& gap : collected.gaps)
        err << "saltrove-collect: " << gap << "\n";
    return collected.gaps.empty() ? kExitComplete : kExitPartial;
}

int CollectTo(const Options& options, std::ostream& out, std::ostream& err) {
    CheckFolder(options.folder);
    Progress progress(err);
    Collected collected = CollectMachine(progress);
    const std::string folder = EncodeUtf8(options.folder.u16string());
    const std::size_t total = CountPackages(collected.machine).packages;
    std::size_t copied = 0;
    const image::ContentReader reader = [&](const std::u16string& path, const auto& take) {
        const bool isRead = CopyFile(collected, path, [&](std::string_view bytes) {
            progress.Tell("packages copied", copied, total);
            take(bytes);
        });
        ++copied;
        return isRead;
    };
    image::WriteNewImage(
        {collected.machine, options.runArguments.value_or(std::vector<std::u16string>())},
        options.runArguments.has_value(), options.folder,
        options.withPackages ? reader : image::ContentReader());
    const int status = TellGaps(collected, err);
    TellImage(collected, options, folder, out);
    TellCommandLine(collected.machine, options, folder, out);
    return status;
}

int TellStatus(const std::u16string& productCode, std::ostream& out, std::ostream& err) {
    Collected collected;
    out << FormatStatus(collected, productCode) << "\n";
    return TellGaps(collected, err);
}

int TellRemovals(const std::u16string& productCode, const std::u16string& productVersion,
                 std::ostream& out, std::ostream& err) {
    const std::optional<std::string> paths = ListRemovals(productCode, productVersion);
    if (!paths)
        err << "saltrove-collect: a run would end with exit state 6: which patches to keep cannot "
               "be worked out\n";
    out << paths.value_or("");
    return paths ? kExitComplete : kExitPartial;
}

int FailToWrite(const std::exception& error, std::ostream& err) {
    err << "saltrove-collect: the image cannot be written: " << error.what() << "\n";
    return kExitCannotWrite;
}

}  // namespace

int RunCollect(std::span<const std::u16string> arguments, std::ostream& out, std::ostream& err) {
    try {
        const Options options = ParseCommandLine(arguments);
        if (options.wantsHelp)
            out << kUsage << kHelp;
        else if (options.wantsVersion)
            out << "saltrove-collect " SALTROVE_VERSION "\n";
        else if (options.status)
            return TellStatus(*options.status, out, err);
        else if (options.removals)
            return TellRemovals((*options.removals)[0], (*options.removals)[1], out, err);
        else
            return CollectTo(options, out, err);
        return kExitComplete;
    } catch (const UsageError& error) {
        err << "saltrove-collect: " << error.what() << "\n" << kUsage;
        return kExitUsage;
    } catch (const fs::filesystem_error& error) {
        return FailToWrite(error, err);
    } catch (const std::ios_base::failure& error) {
        return FailToWrite(error, err);
    }
}

}  // namespace collect
