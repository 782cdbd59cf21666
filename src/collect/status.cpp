#include "collect/status.h"

#include "cleanup/linked_cleanup.h"
#include "cleanup/orphan_cleanup.h"
#include "cleanup/package_removal.h"
#include "collect/registry_parts.h"
#include "image/utc_time.h"
#include "inventory/installer_query.h"
#include "platform/clock.h"
#include "platform/simulated/machine/pending_renames.h"
#include "platform/simulated/texts/letter_case.h"
#include "platform/simulated/texts/unicode.h"
#include "platform/wide_text.h"
#include "product/cleanup_key.h"
#include "product/product_track.h"
#include "records/cleanup_store.h"

#include <algorithm>
#include <array>
#include <chrono>
#include <cstdio>
#include <set>

namespace collect {

namespace {

using platform::DWORD;
using platform::simulated::RegistryValue;
using saltrove::ExitState;

constexpr const char* kNull = "null";

/// A text as JSON has it. Whatever is not plain ASCII is escaped, so that no code page between here
/// and its reader matters.
std::string FormatText(std::u16string_view text) {
    std::string quoted = "\"";
    for (const char16_t character : text) {
        if (character == u'"' || character == u'\\')
            quoted += '\\';
        if (character >= u' ' && character <= u'~') {
            quoted += static_cast<char>(character);
            continue;
        }
        std::array<char, 8> escaped{};
        (void)std::snprintf(escaped.data(), escaped.size(), "\\u%04X",
                            static_cast<unsigned>(character));
        quoted += escaped.data();
    }
    return quoted + '"';
}

/// The values of the product's Cleanup key, as they have been collected.
class Store {
  public:
    Store(const Collected& collected, const std::u16string& productCode)
        : collected_(collected),
          path_(u"HKEY_LOCAL_MACHINE\\" + saltrove::GetCleanupKeyPath(productCode)) {}

    [[nodiscard]] std::optional<DWORD> GetNumber(const char16_t* name) const {
        return platform::simulated::GetDword(collected_.machine.registry.FindValue(path_, name));
    }
    [[nodiscard]] std::optional<std::u16string> GetText(const char16_t* name) const {
        const RegistryValue* value = collected_.machine.registry.FindValue(path_, name);
        if (value == nullptr || value->type != platform::REG_SZ)
            return std::nullopt;
        return platform::simulated::GetText(value->data);
    }

  private:
    const Collected& collected_;
    std::u16string path_;
};

std::string FormatOptional(const std::optional<std::u16string>& text) {
    return text ? FormatText(*text) : kNull;
}

std::string FormatOptional(const std::optional<DWORD>& number) {
    return number ? std::to_string(*number) : kNull;
}

std::string FormatBool(bool isTrue) {
    return isTrue ? "true" : "false";
}

const char16_t* DescribeState(DWORD exitState) {
    switch (static_cast<ExitState>(exitState)) {
    case ExitState::Success:
        return u"went to its end";
    case ExitState::MsiUnavailable:
        return u"found no usable Windows Installer";
    case ExitState::DisabledByPolicy:
        return u"forbidden by policy";
    case ExitState::CleanupTooRecent:
        return u"less than 90 days after the last cleanup";
    case ExitState::NotInSample:
        return u"outside the sample";
    case ExitState::OnlyIncrementalPatches:
        return u"could not work out which patches to keep";
    }
    return u"unknown";
}

/// The members about the last cleanup. A time behind the clock's counts as days below 0.
std::string FormatLastCleanup(const std::optional<DWORD>& last) {
    if (!last)
        return R"("lastCleanup":null,"daysSinceCleanup":null)";
    const std::chrono::sys_seconds now(std::chrono::seconds(platform::_time64(nullptr)));
    // Of both the low 32 bits are known, and they lie less than half that range apart.
    const std::chrono::seconds age(static_cast<std::int32_t>(
        static_cast<std::uint32_t>(now.time_since_epoch().count()) - *last));
    return "\"lastCleanup\":\"" + image::FormatUtc(now - age) + "\",\"daysSinceCleanup\":" +
           std::to_string(std::chrono::floor<std::chrono::days>(age).count());
}

std::size_t CountNames(const std::u16string& list) {
    return list.empty() ? 0 : 1 + static_cast<std::size_t>(std::ranges::count(list, u';'));
}

/// Whether a search for packages can deliver a file of this name: its extension begins with "msp".
bool MayBePackage(std::u16string_view fileName) {
    const std::size_t dot = fileName.rfind(u'.');
    return dot != std::u16string_view::npos &&
           platform::EqualsIgnoringAsciiCase(fileName.substr(dot, 4), u".msp");
}

/// The names of the packages in the cache folder that go at the next restart, as a JSON array.
std::string FormatWaiting(Collected& collected) {
    const std::size_t gaps = collected.gaps.size();
    CollectPendingRenames(collected);
    if (collected.gaps.size() != gaps)
        return kNull;
    std::string names;
    for (const auto& rename : platform::simulated::ReadPendingRenames(collected.machine.registry)) {
        const std::u16string_view name = platform::GetFileName(rename.path);
        if (!rename.newPath.empty() || !saltrove::IsInInstallerCache(rename.path) ||
            !MayBePackage(name))
            continue;
        names.append(names.empty() ? "" : ",").append(FormatText(name));
    }
    return "[" + names + "]";
}

}  // namespace

bool IsProductOfFamily(std::u16string_view productCode) {
    return saltrove::PackGuid(productCode) &&
           productCode.substr(1, productCode.size() - 2).find_first_not_of(u"0123456789ABCDEF-") ==
               std::u16string_view::npos &&
           !saltrove::GetProductRoot(productCode).empty();
}

std::string FormatStatus(Collected& collected, const std::u16string& productCode) {
    const std::u16string root = saltrove::GetProductRoot(productCode);
    CollectCleanupStore(collected, root);
    const Store store(collected, productCode);
    const std::optional<DWORD> exitState = store.GetNumber(saltrove::kExitStateValue);
    const std::optional<DWORD> affected = store.GetNumber(saltrove::kAffectedMachineValue);
    const std::optional<std::u16string> removed = store.GetText(saltrove::kMarkedListValue);
    std::string json = R"({"format":1,"productCode":)" + FormatText(productCode);
    json += ",\"root\":" + FormatText(root);
    json += ",\"exitState\":" + FormatOptional(exitState);
    json += ",\"state\":" + (exitState ? FormatText(DescribeState(*exitState)) : kNull);
    json +=
        ",\"productVersion\":" + FormatOptional(store.GetText(saltrove::kCurrentPatchVersionValue));
    json += ",\"patchType\":" + FormatOptional(store.GetText(saltrove::kCurrentPatchTypeValue));
    json += "," + FormatLastCleanup(store.GetNumber(saltrove::kCleanupTimeValue));
    json += ",\"hasRemoved\":" + (affected ? FormatBool(*affected != 0) : kNull);
    json += ",\"linkedRemoved\":" + (removed ? std::to_string(CountNames(*removed)) : kNull);
    json += ",\"orphansFound\":" + FormatOptional(store.GetNumber(saltrove::kOrphanCountValue));
    json += ",\"waitingForRestart\":" + FormatWaiting(collected);
    return json + "}";
}

std::optional<std::string> ListRemovals(const std::u16string& productCode,
                                        const std::u16string& productVersion) {
    const saltrove::LinkedPhase linked =
        saltrove::RunLinkedPhase(productCode, productVersion, true);
    if (linked.plan.skip)
        return std::nullopt;
    // In a simulation an orphan may be a package that has been listed as a patch's.
    std::set<std::u16string> listed;
    std::u16string paths;
    const auto list = [&](const std::u16string& path) {
        if (listed.insert(platform::simulated::FoldCase(path)).second)
            paths += path + u"\n";
    };
    for (const saltrove::PatchDecision& decision : linked.patches) {
        if (saltrove::IsTakenAway(decision.outcome))
            list(decision.patch.localPackage);
    }
    for (const saltrove::CacheEntry& entry : saltrove::RunOrphanPhase(true).entries) {
        if (saltrove::IsTakenAway(entry.outcome))
            list(std::u16string(saltrove::kInstallerCache) + entry.fileName);
    }
    return platform::simulated::EncodeUtf8(paths);
}

}  // namespace collect
