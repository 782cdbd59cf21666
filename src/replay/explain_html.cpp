#include "replay/explain_html.h"

#include "image/escape.h"
#include "platform/simulated/texts/unicode.h"
#include "replay/explain_page.h"
#include "replay/reasons.h"

#include <array>
#include <cstdio>
#include <map>
#include <set>

namespace replay {

namespace {

using platform::simulated::EncodeUtf8;

/// What stands in the places of a template, by their names.
using Parts = std::map<std::string_view, std::string>;

/// Puts the parts into a template. A place without a part stays empty. What is put in is not
/// searched again.
std::string Fill(std::string_view page, const Parts& parts) {
    constexpr std::string_view kOpen = "<!--";
    constexpr std::string_view kClose = "-->";
    std::string filled;
    for (std::size_t open = page.find(kOpen); open != std::string_view::npos;
         open = page.find(kOpen)) {
        const std::size_t close = page.find(kClose, open);
        filled += page.substr(0, open);
        const std::size_t name = open + kOpen.size();
        if (const auto part = parts.find(page.substr(name, close - name)); part != parts.end())
            filled += part->second;
        page.remove_prefix(close + kClose.size());
    }
    return filled.append(page);
}

/// Characters that turn the direction of what stands around them, which could show a name as
/// another.
bool TurnsDirection(char16_t character) {
    return character == u'\u061C' || character == u'\u200E' || character == u'\u200F' ||
           (character >= u'\u202A' && character <= u'\u202E') ||
           (character >= u'\u2066' && character <= u'\u2069');
}

std::string EscapeMarkup(std::string_view text) {
    std::string escaped;
    for (const char character : text) {
        switch (character) {
        case '&':
            escaped += "&amp;";
            break;
        case '<':
            escaped += "&lt;";
            break;
        case '>':
            escaped += "&gt;";
            break;
        case '"':
            escaped += "&quot;";
            break;
        case '\'':
            escaped += "&#39;";
            break;
        default:
            escaped += character;
        }
    }
    return escaped;
}

/// A text of the machine, for the content of an element.
std::string ShowInHtml(std::u16string_view text) {
    std::u16string visible;
    for (const char16_t character : text) {
        if (!TurnsDirection(character)) {
            visible += character;
            continue;
        }
        std::array<char, 8> number{};
        std::snprintf(number.data(), number.size(), "\\u%04X", static_cast<unsigned>(character));
        visible.append(number.data(), number.data() + 6);
    }
    return "<bdi>" + EscapeMarkup(image::EscapeControls(EncodeUtf8(visible))) + "</bdi>";
}

std::string GroupDigits(std::uintmax_t number) {
    std::string digits = std::to_string(number);
    for (std::size_t place = digits.size(); place > 3; place -= 3)
        digits.insert(place - 3, ",");
    return digits;
}

/// The bytes behind hexadecimal digits in base 64, as a policy names a hash.
std::string EncodeHash(std::string_view hexDigits) {
    constexpr std::string_view kSigns =
        "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";
    std::string text;
    unsigned bits = 0;
    unsigned count = 0;
    for (const char digit : hexDigits) {
        bits = (bits << 4U) | static_cast<unsigned>(digit <= '9' ? digit - '0' : digit - 'a' + 10);
        count += 4;
        if (count >= 6) {
            count -= 6;
            text += kSigns[(bits >> count) & 63U];
        }
    }
    if (count > 0)
        text += kSigns[(bits << (6 - count)) & 63U];
    return text.append((4 - text.size() % 4) % 4, '=');
}

std::string MakeSwatch(Verdict verdict) {
    const std::string name(GetVerdictName(verdict));
    return "<span class=\"swatch fill-" + name + "\"></span>" +
           std::string(GetVerdictLabel(verdict));
}

std::uintmax_t SumUpBytes(const std::vector<VerdictSum>& sums) {
    std::uintmax_t bytes = 0;
    for (const VerdictSum& sum : sums)
        bytes += sum.bytes;
    return bytes;
}

/// One bar, parted by verdicts.
std::string MakePicture(const std::vector<VerdictSum>& sums) {
    const std::uintmax_t all = SumUpBytes(sums);
    if (all == 0)
        return {};
    std::string bars;
    std::string words;
    double place = 0;
    for (const VerdictSum& sum : sums) {
        if (sum.bytes == 0)
            continue;
        const double width = 1000.0 * static_cast<double>(sum.bytes) / static_cast<double>(all);
        const std::string ofSum =
            std::string(GetVerdictLabel(sum.verdict)) + ": " + GroupDigits(sum.bytes) + " bytes";
        bars += "<rect class=\"fill-" + std::string(GetVerdictName(sum.verdict)) + "\" x=\"" +
                std::to_string(place) + "\" y=\"0\" width=\"" + std::to_string(width) +
                "\" height=\"36\"><title>" + ofSum + "</title></rect>";
        words += (words.empty() ? "" : ", ") + ofSum;
        place += width;
    }
    return "<svg class=\"picture\" viewBox=\"0 0 1000 36\" preserveAspectRatio=\"none\" "
           "role=\"img\" aria-label=\"" +
           words + "\">" + bars + "</svg>";
}

std::string MakeTotals(const std::vector<VerdictSum>& sums) {
    const std::uintmax_t all = SumUpBytes(sums);
    std::string rows;
    for (const VerdictSum& sum : sums) {
        const std::string share =
            all == 0 ? "" : std::to_string((sum.bytes * 1000 / all + 5) / 10) + " %";
        rows += "<tr><th scope=\"row\">" + MakeSwatch(sum.verdict) + "</th><td class=\"figure\">" +
                std::to_string(sum.packages) + "</td><td class=\"figure\">" +
                GroupDigits(sum.bytes) + "</td><td class=\"figure\">" + share + "</td></tr>\n";
    }
    return rows;
}

std::string MakeLink(std::size_t row, const std::string& content) {
    return "<a href=\"#package-" + std::to_string(row) + "\">" + content + "</a>";
}

std::string MakeHazards(const Explanation& explanation) {
    if (explanation.hazards.empty())
        return "<p>None found.</p>";
    std::map<std::u16string_view, std::size_t> rowsByFile;
    for (std::size_t i = 0; i < explanation.rows.size(); ++i)
        rowsByFile.try_emplace(explanation.rows[i].file, i);
    std::string items;
    for (const Hazard& hazard : explanation.hazards) {
        const auto row = rowsByFile.find(hazard.subject);
        const bool isLinked = !hazard.subject.empty() && row != rowsByFile.end();
        items += "<li><code>" + std::string(hazard.name) + "</code>" + ShowInHtml(hazard.message) +
                 (isLinked ? " " + MakeLink(row->second, "Show the package") : "") + "</li>\n";
    }
    return "<ul class=\"hazards\">\n" + items + "</ul>";
}

std::string MakeKinds(const Explanation& explanation) {
    std::set<PackageKind> kinds;
    for (const PackageRow& row : explanation.rows)
        kinds.insert(row.kind);
    std::string options;
    for (const PackageKind kind : kinds)
        options += "<option value=\"" + std::string(GetKindName(kind)) + "\">" +
                   std::string(GetKindLabel(kind)) + "</option>";
    return options;
}

std::string MakeVerdicts() {
    std::string boxes;
    for (const Verdict verdict : kVerdicts)
        boxes += "<label><input type=\"checkbox\" checked value=\"" +
                 std::string(GetVerdictName(verdict)) + "\"> " + MakeSwatch(verdict) + "</label>\n";
    return boxes;
}

/// What stands below a row's reason: what its texts call the package, and where it comes from.
std::string MakeOrigin(const PackageRow& row, const std::u16string& ownProduct) {
    std::string origin = row.description.empty() ? "" : ShowInHtml(row.description);
    if (!row.packageName.empty())
        origin += (origin.empty() ? "" : ", ") + ShowInHtml(row.packageName);
    // A link by another product is the reason itself.
    if (!row.patchCode.empty() && row.kind != PackageKind::OtherProduct)
        origin += (origin.empty() ? "" : "<br>") + ShowInHtml(row.patchCode) +
                  (row.productCode == ownProduct ? "" : " of " + ShowInHtml(row.productCode));
    return origin.empty() ? "" : "<div class=\"origin\">" + origin + "</div>";
}

std::string MakeRow(const Explanation& explanation, std::size_t place) {
    const PackageRow& row = explanation.rows[place];
    const auto cell = [](std::u16string_view text) {
        return "<td>" + (text.empty() ? "" : ShowInHtml(text)) + "</td>";
    };
    const std::string verdict(GetVerdictName(row.verdict));
    return "<tr id=\"package-" + std::to_string(place) + "\" data-verdict=\"" + verdict +
           "\" data-kind=\"" + std::string(GetKindName(row.kind)) + "\"><td data-key=\"" +
           std::to_string(static_cast<int>(row.verdict)) + "\"><span class=\"verdict\">" +
           MakeSwatch(row.verdict) + "</span></td><th scope=\"row\" class=\"file\">" +
           (row.file.empty() ? "(no file)" : ShowInHtml(row.file)) +
           "</th><td class=\"figure\" data-key=\"" + (row.size ? std::to_string(*row.size) : "-1") +
           "\">" + (row.size ? GroupDigits(*row.size) : "") + "</td><td>" +
           std::string(GetKindLabel(row.kind)) + "</td>" + cell(row.version) + cell(row.number) +
           cell(row.type) + cell(row.state) + "<td>" + ShowInHtml(row.reason) +
           MakeOrigin(row, explanation.productCode) + "</td></tr>\n";
}

std::string MakePackages(const Explanation& explanation) {
    const std::vector<VerdictSum> sums = SumUpVerdicts(explanation.rows);
    std::string rows;
    for (const Verdict verdict : kVerdicts) {
        for (std::size_t i = 0; i < explanation.rows.size(); ++i) {
            if (explanation.rows[i].verdict == verdict)
                rows += MakeRow(explanation, i);
        }
    }
    return Fill(kPackagesTemplate, {{"picture", MakePicture(sums)},
                                    {"totals", MakeTotals(sums)},
                                    {"hazards", MakeHazards(explanation)},
                                    {"kinds", MakeKinds(explanation)},
                                    {"verdicts", MakeVerdicts()},
                                    {"packages", rows}});
}

std::string MakeLog(const Explanation& explanation) {
    if (explanation.log.empty())
        return "<p>There is none: the log was off, or its file could not be opened.</p>";
    std::string lines;
    for (const LogLine& line : explanation.log) {
        const std::string text = line.text.empty() ? "" : ShowInHtml(line.text);
        lines += "<li>" + (line.row ? MakeLink(*line.row, text) : text) + "</li>\n";
    }
    return "<ol class=\"log\">\n" + lines + "</ol>";
}

}  // namespace

std::string FormatExplanationHtml(const Explanation& explanation) {
    const std::string_view remark = GetBasisRemark(explanation.basis);
    const std::string state =
        explanation.exitState ? " (exit state " + std::to_string(*explanation.exitState) + ")" : "";
    return Fill(
        kPageTemplate,
        {{"style-hash", EncodeHash(kPageStyleHash)},
         {"script-hash", EncodeHash(kPageScriptHash)},
         {"style", std::string(kPageStyle)},
         {"script", std::string(kPageScript)},
         {"run", ShowInHtml(explanation.productCode) + " " +
                     ShowInHtml(explanation.productVersion) +
                     (explanation.isSimulated ? ", simulated" : "")},
         {"ending", ShowInHtml(explanation.ending) + state},
         {"boundaries",
          explanation.boundaries
              ? "<p>" + ShowInHtml(DescribeBoundaries(*explanation.boundaries)) + "</p>"
              : ""},
         {"remark", remark.empty() ? "" : "<p class=\"remark\">" + std::string(remark) + "</p>"},
         {"body", explanation.basis == Basis::Nothing ? "" : MakePackages(explanation)},
         {"log", MakeLog(explanation)}});
}

}  // namespace replay
