#pragma once

#include "platform/simulated/machine/machine.h"

#include <cstdint>
#include <filesystem>
#include <optional>
#include <random>
#include <span>
#include <string>
#include <vector>

/// Machines out of a seed, as they occur and as they should not.
namespace test {

/// Where the choices come from: a seed, or bytes, behind whose end every choice is the first one.
class Dice {
  public:
    explicit Dice(std::uint64_t seed) : engine_(seed) {}
    explicit Dice(std::span<const std::uint8_t> bytes) : bytes_(bytes) {}

    /// A number from 0 to `sides` - 1, of up to 65,536 sides.
    unsigned Roll(unsigned sides);
    bool HasLuck(unsigned percent);

    /// One of the choices, the ordinary one first; one that stands twice is twice as likely.
    template <typename Choice>
    Choice Pick(std::initializer_list<Choice> choices) {
        return choices.begin()[Roll(static_cast<unsigned>(choices.size()))];
    }

  private:
    std::mt19937_64 engine_;
    std::optional<std::span<const std::uint8_t>> bytes_;
};

struct GeneratedMachine {
    platform::simulated::Machine machine;
    std::vector<std::u16string> arguments;
    std::string errors;  ///< the sections of machine.ini that give its files and keys their errors
};

/// A machine whose product has up to `mostPatches` patches. The same choices give the same machine
/// on every system.
[[nodiscard]] GeneratedMachine GenerateMachine(Dice& dice, unsigned mostPatches);

/// Writes the machine as an image into a folder that is missing or empty.
void WriteGeneratedImage(const GeneratedMachine& generated, const std::filesystem::path& folder);

}  // namespace test
