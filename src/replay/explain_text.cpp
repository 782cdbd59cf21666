#include "replay/explain_text.h"

#include "image/escape.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/reasons.h"

#include <algorithm>
#include <array>
#include <utility>

namespace replay {

namespace {

using platform::simulated::EncodeUtf8;

constexpr std::size_t kWidth = 120;

/// A text of the machine as it can be shown.
std::string Show(std::u16string_view text) {
    return image::EscapeControls(EncodeUtf8(text));
}

/// The number of characters.
std::size_t Measure(std::string_view text) {
    return static_cast<std::size_t>(std::count_if(text.begin(), text.end(), [](char byte) {
        return (static_cast<unsigned char>(byte) & 0xC0U) != 0x80U;
    }));
}

std::string Pad(const std::string& text, std::size_t width) {
    return text + std::string(width - std::min(width, Measure(text)), ' ');
}

std::string PadLeft(const std::string& text, std::size_t width) {
    return std::string(width - std::min(width, text.size()), ' ') + text;
}

void TrimEnd(std::string& text) {
    text.erase(text.find_last_not_of(' ') + 1);
}

/// The text in lines of at most kWidth characters, broken at blanks where it can be.
std::string Wrap(std::string_view text, std::size_t indentation) {
    const std::string start(indentation, ' ');
    std::string lines;
    std::string line = start;
    while (!text.empty()) {
        const std::size_t blank = std::min(text.find(' '), text.size());
        const std::string_view word = text.substr(0, blank);
        text.remove_prefix(std::min(blank + 1, text.size()));
        if (line.size() > start.size() && Measure(line) + 1 + Measure(word) > kWidth) {
            lines += line + "\n";
            line = start;
        }
        if (line.size() > start.size())
            line += ' ';
        line += word;
    }
    return lines + line + "\n";
}

std::string MakeHeading(const std::string& text, bool isColoured) {
    return isColoured ? "\n\x1B[1m" + text + "\x1B[0m\n" : "\n" + text + "\n";
}

std::string DescribeSum(const VerdictSum& sum) {
    return std::to_string(sum.packages) + (sum.packages == 1 ? " package, " : " packages, ") +
           std::to_string(sum.bytes) + " bytes";
}

constexpr std::size_t kColumns = 7;
using Cells = std::array<std::string, kColumns>;

Cells MakeCells(const PackageRow& row) {
    return {Show(row.file.empty() ? u"(no file)" : row.file),
            row.size ? std::to_string(*row.size) : "-",
            std::string(GetKindLabel(row.kind)),
            Show(row.version),
            Show(row.number),
            Show(row.type),
            Show(row.state)};
}

/// The widths of the columns; a file name that is longer than most moves its own line alone.
std::array<std::size_t, kColumns> MeasureColumns(const std::vector<PackageRow>& rows) {
    constexpr std::size_t kLongestFile = 30;
    std::array<std::size_t, kColumns> widths{};
    for (const PackageRow& row : rows) {
        const Cells cells = MakeCells(row);
        for (std::size_t i = 0; i < kColumns; ++i)
            widths[i] = std::max(widths[i], Measure(cells[i]));
    }
    widths[0] = std::min(widths[0], kLongestFile);
    return widths;
}

std::string FormatRow(const PackageRow& row, const std::array<std::size_t, kColumns>& widths) {
    Cells cells = MakeCells(row);
    std::string lines;
    if (Measure(cells[0]) > widths[0])
        lines = "  " + std::exchange(cells[0], "") + "\n";
    for (std::size_t i = 0; i < kColumns; ++i)
        lines += "  " + (i == 1 ? PadLeft(cells[i], widths[i]) : Pad(cells[i], widths[i]));
    TrimEnd(lines);
    std::string origin;
    // A link by another product is the reason itself.
    const std::u16string patchCode =
        row.kind == PackageKind::OtherProduct ? std::u16string() : row.patchCode;
    for (const std::u16string& text : {row.description, row.packageName, patchCode}) {
        if (!text.empty())
            origin += (origin.empty() ? "" : ", ") + Show(text);
    }
    return lines + "\n" + (origin.empty() ? "" : Wrap(origin, 6)) + Wrap(Show(row.reason), 6);
}

}  // namespace

std::string FormatExplanationText(const Explanation& explanation, bool isColoured) {
    std::string text = "Saltrove";
    for (const std::u16string& argument : {explanation.productCode, explanation.productVersion})
        text += argument.empty() ? "" : " " + Show(argument);
    text += explanation.isSimulated ? ", simulated\n" : "\n";
    text += Wrap(Show(explanation.ending) +
                     (explanation.exitState
                          ? " (exit state " + std::to_string(*explanation.exitState) + ")"
                          : ""),
                 2);
    if (explanation.boundaries)
        text += Wrap(Show(DescribeBoundaries(*explanation.boundaries)), 2);
    if (const std::string_view remark = GetBasisRemark(explanation.basis); !remark.empty())
        text += Wrap(remark, 2);
    if (explanation.basis == Basis::Nothing)
        return text;

    const std::vector<VerdictSum> sums = SumUpVerdicts(explanation.rows);
    text += MakeHeading("Packages", isColoured);
    for (const VerdictSum& sum : sums)
        text += "  " + Pad(std::string(GetVerdictLabel(sum.verdict)), 24) + "  " +
                DescribeSum(sum) + "\n";
    text += MakeHeading("Hazards", isColoured);
    if (explanation.hazards.empty())
        text += "  none found\n";
    for (const Hazard& hazard : explanation.hazards) {
        text += "  " + Pad(std::string(hazard.name), 24) + "  " + Show(hazard.subject);
        TrimEnd(text);
        text += "\n" + Wrap(Show(hazard.message), 6);
    }
    const auto widths = MeasureColumns(explanation.rows);
    for (const VerdictSum& sum : sums) {
        if (sum.packages == 0)
            continue;
        text += MakeHeading(std::string(GetVerdictLabel(sum.verdict)) + ": " + DescribeSum(sum),
                            isColoured);
        for (const PackageRow& row : explanation.rows) {
            if (row.verdict == sum.verdict)
                text += FormatRow(row, widths);
        }
    }
    return text;
}

}  // namespace replay
