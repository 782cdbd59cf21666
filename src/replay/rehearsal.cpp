#include "replay/rehearsal.h"

#include "log/run_log.h"
#include "platform/simulated/texts/unicode.h"
#include "product/cleanup_key.h"
#include "product/eligibility.h"
#include "product/product_track.h"
#include "replay/command_line.h"

namespace replay {

namespace {

using platform::simulated::EncodeUtf8;
using platform::simulated::Machine;

const std::u16string kLocalMachine = u"HKEY_LOCAL_MACHINE\\";

void TurnLogOn(const std::u16string& productCode, Machine& machine) {
    if (saltrove::GetProductRoot(productCode).empty())
        throw UsageError("--log: the product code \"" + EncodeUtf8(productCode) +
                         "\" names no product, and the log's switch is a value of the product's");
    machine.registry.SetDword(kLocalMachine + saltrove::GetCleanupKeyPath(productCode),
                              saltrove::kRunLogSwitchValue, 1);
    // The program makes the file, and not the folder.
    const std::u16string_view path = saltrove::kRunLogPath;
    machine.drive.AddDirectory(path.substr(0, path.rfind(u'\\')));
}

void ForceRun(const std::u16string& productCode, Machine& machine) {
    const auto track = saltrove::GetProductTrack(productCode);
    if (!track)
        throw UsageError("--force: the product code \"" + EncodeUtf8(productCode) +
                         "\" is of no known release track, for which there is no policy");
    machine.registry.SetDword(
        kLocalMachine +
            saltrove::GetPolicyKeyPath(saltrove::GetProductFamilyKey(productCode), *track),
        saltrove::kPolicyValue, 1);
}

}  // namespace

void ApplyRehearsal(const Rehearsal& rehearsal, const std::u16string& productCode,
                    Machine& machine) {
    if (rehearsal.log)
        TurnLogOn(productCode, machine);
    if (rehearsal.force)
        ForceRun(productCode, machine);
    if (rehearsal.now)
        machine.clock.utc = rehearsal.now;
}

}  // namespace replay
