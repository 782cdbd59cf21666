#include "collect/collected.h"

#include "image/escape.h"
#include "platform/simulated/texts/unicode.h"

namespace collect {

void NoteGap(Collected& collected, const std::string& what, std::u16string_view place,
             platform::DWORD error) {
    std::string line = "cannot read " + what;
    if (!place.empty())
        line += " " + platform::simulated::EncodeUtf8(place);
    if (error != 0)
        line += ": error " + std::to_string(error);
    collected.gaps.push_back(image::EscapeControls(line));
}

}  // namespace collect
