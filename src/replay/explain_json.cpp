#include "replay/explain_json.h"

#include "platform/simulated/texts/unicode.h"

#include <nlohmann/json.hpp>

namespace replay {

namespace {

using platform::simulated::EncodeUtf8;
using Json = nlohmann::ordered_json;

/// A text of the machine, or null where there is none.
Json MakeText(std::u16string_view text) {
    return text.empty() ? Json() : Json(EncodeUtf8(text));
}

template <typename Number>
Json MakeNumber(const std::optional<Number>& number) {
    return number ? Json(*number) : Json();
}

Json MakePackage(const PackageRow& row) {
    return {{"file", MakeText(row.file)},
            {"path", MakeText(row.path)},
            {"size", MakeNumber(row.size)},
            {"isCounted", row.isCounted},
            {"kind", GetKindName(row.kind)},
            {"productCode", MakeText(row.productCode)},
            {"patchCode", MakeText(row.patchCode)},
            {"packageName", MakeText(row.packageName)},
            {"version", MakeText(row.version)},
            {"number", MakeText(row.number)},
            {"type", MakeText(row.type)},
            {"state", MakeText(row.state)},
            {"description", MakeText(row.description)},
            {"verdict", GetVerdictName(row.verdict)},
            {"reason", MakeText(row.reason)}};
}

Json MakeBoundaries(const std::optional<saltrove::Boundaries>& boundaries) {
    if (!boundaries)
        return {};
    return {{"currentType", MakeText(boundaries->currentType)},
            {"currentNumber", MakeText(boundaries->currentNumber)},
            {"lastCumulative", MakeText(boundaries->lastCumulative)},
            {"latestOverall", MakeText(boundaries->latestOverall)}};
}

}  // namespace

std::string FormatExplanationJson(const Explanation& explanation) {
    Json totals = Json::array();
    for (const VerdictSum& sum : SumUpVerdicts(explanation.rows))
        totals.push_back({{"verdict", GetVerdictName(sum.verdict)},
                          {"packages", sum.packages},
                          {"bytes", sum.bytes}});
    Json packages = Json::array();
    for (const PackageRow& row : explanation.rows)
        packages.push_back(MakePackage(row));
    Json hazards = Json::array();
    for (const Hazard& hazard : explanation.hazards)
        hazards.push_back({{"hazard", hazard.name},
                           {"subject", MakeText(hazard.subject)},
                           {"message", MakeText(hazard.message)}});
    Json log = Json::array();
    for (const LogLine& line : explanation.log)
        log.push_back({{"text", EncodeUtf8(line.text)}, {"package", MakeNumber(line.row)}});
    const Json document = {{"format", 1},
                           {"productCode", MakeText(explanation.productCode)},
                           {"productVersion", MakeText(explanation.productVersion)},
                           {"isSimulated", explanation.isSimulated},
                           {"exitState", MakeNumber(explanation.exitState)},
                           {"exitCode", explanation.exitCode},
                           {"basis", GetBasisName(explanation.basis)},
                           {"ending", MakeText(explanation.ending)},
                           {"boundaries", MakeBoundaries(explanation.boundaries)},
                           {"totals", totals},
                           {"hazards", hazards},
                           {"packages", packages},
                           {"log", log}};
    return document.dump(2) + "\n";
}

}  // namespace replay
