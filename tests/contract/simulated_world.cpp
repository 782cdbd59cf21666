#include "contract/world.h"
#include "platform/simulated/machine/machine.h"

#include <gtest/gtest.h>

#include <memory>

namespace contract {

const bool kIsWine = false;

namespace {

using platform::simulated::Machine;
using platform::simulated::MachineScope;

/// One machine for all contracts, with a process beside the tool.
class SimulatedWorld : public testing::Environment {
    void SetUp() override {
        machine_.drive.AddDirectory(u"C:\\Windows");
        machine_.processes.push_back({500, 0, u"S-1-5-18", u"C:\\Windows\\System32\\services.exe"});
    }
    void TearDown() override {
        EXPECT_EQ(machine_.open.Count(), 0U) << "a contract left something open";
    }

    Machine machine_;
    MachineScope scope_{machine_};
};

[[maybe_unused]] const testing::Environment* const kWorld =
    testing::AddGlobalTestEnvironment(std::make_unique<SimulatedWorld>().release());

platform::simulated::Drive& Drive() {
    return platform::simulated::GetCurrentMachine().drive;
}

}  // namespace

void PutFile(const std::u16string& path, std::string_view bytes) {
    Drive().AddFile(path, std::string(bytes));
}

std::string ReadFile(const std::u16string& path) {
    return platform::simulated::ReadContent(*Drive().Find(path));
}

void SetReadOnly(const std::u16string& path, bool isReadOnly) {
    Drive().FindToChange(path)->isReadOnly = isReadOnly;
}

}  // namespace contract
