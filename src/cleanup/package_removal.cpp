#include "cleanup/package_removal.h"

#include "log/run_log.h"
#include "platform/files.h"
#include "platform/wide_text.h"

namespace saltrove {

bool IsTakenAway(std::optional<RemovalOutcome> outcome) {
    return IsCleaned(outcome) || outcome == RemovalOutcome::Simulated;
}

bool IsCleaned(std::optional<RemovalOutcome> outcome) {
    return outcome == RemovalOutcome::Deleted || outcome == RemovalOutcome::Marked;
}

bool IsInInstallerCache(const std::u16string& path, const NativeLocale& locale) {
    constexpr std::u16string_view kInLowerCase = u"c:\\windows\\installer\\";
    static_assert(kInLowerCase.size() == kInstallerCache.size());
    return LowerCaseCopy(path, locale).starts_with(kInLowerCase);
}

RemovalOutcome RemovePackage(const std::u16string& path, bool simulate,
                             std::u16string_view markFailedText, RemovalErrors& errors) {
    errors = {};
    if (simulate) {
        WriteRunLog(u"  [SIMULATION] Would delete");
        return RemovalOutcome::Simulated;
    }
    if (platform::DeleteFileW(path.c_str()) != 0) {
        WriteRunLog(u"  [DELETED] Successfully deleted");
        return RemovalOutcome::Deleted;
    }
    errors.deletion = platform::GetLastError();
    WriteRunLog(u"  [DELETE FAILED] Error code: " + platform::FormatDecimal(errors.deletion));
    if (errors.deletion != platform::ERROR_SHARING_VIOLATION &&
        errors.deletion != platform::ERROR_ACCESS_DENIED)
        return RemovalOutcome::DeleteFailed;
    if (platform::MoveFileExW(path.c_str(), nullptr, platform::MOVEFILE_DELAY_UNTIL_REBOOT) != 0) {
        WriteRunLog(u"  [MARKED FOR DELETION] Scheduled for deletion on reboot");
        return RemovalOutcome::Marked;
    }
    errors.mark = platform::GetLastError();
    WriteRunLog(std::u16string(markFailedText) + platform::FormatDecimal(errors.mark));
    return RemovalOutcome::MarkFailed;
}

}  // namespace saltrove
