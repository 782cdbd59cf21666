#include "replay/replay.h"

#include "image/escape.h"
#include "image/host_path.h"
#include "image/image.h"
#include "image/image_error.h"
#include "platform/simulated/machine/machine.h"
#include "replay/command_line.h"
#include "replay/doubts.h"
#include "replay/explain_html.h"
#include "replay/explain_json.h"
#include "replay/explain_text.h"
#include "replay/explanation.h"
#include "replay/machine_run.h"
#include "replay/pilot.h"
#include "replay/report.h"

#include <algorithm>
#include <filesystem>
#include <ostream>
#include <utility>

namespace replay {

namespace fs = std::filesystem;

namespace {

using platform::simulated::Machine;

/// Makes sure that writing to `out` can neither overwrite anything nor change the image.
void CheckOutFolder(const fs::path& image, const fs::path& out) {
    if (out.empty())
        throw UsageError("--out: the name of the folder is empty");
    if (fs::exists(out) && !fs::is_directory(out))
        throw UsageError("--out: " + image::ShowPath(out) + " is not a folder");
    if (fs::exists(out) && !fs::is_empty(out))
        throw UsageError("--out: " + image::ShowPath(out) + " is not empty");
    const fs::path inner = fs::weakly_canonical(fs::absolute(out));
    const fs::path outer = fs::weakly_canonical(fs::absolute(image));
    if (std::mismatch(outer.begin(), outer.end(), inner.begin(), inner.end()).first == outer.end())
        throw UsageError("--out: " + image::ShowPath(out) + " lies inside the image");
}

std::string FormatExplanation(const Explanation& explanation, ExplainFormat format,
                              bool isColoured) {
    switch (format) {
    case ExplainFormat::Json:
        return FormatExplanationJson(explanation);
    case ExplainFormat::Html:
        return FormatExplanationHtml(explanation);
    case ExplainFormat::Text:
        break;
    }
    return FormatExplanationText(explanation, isColoured);
}

/// A run on an image, and the machine in front of it and behind it.
struct Replayed {
    Machine before;
    Machine machine;
    RunReport report;
};

/// Runs the program on one image; doubts about it go to `err`.
Replayed ReplayImage(const Options& options, const fs::path& folder, std::ostream& err) {
    image::Image loaded = image::ReadImage(folder);
    const std::vector<std::u16string> arguments = options.runArguments.value_or(loaded.arguments);
    for (const std::string& doubt : ListDoubts(folder, loaded.machine, arguments))
        err << "saltrove-replay: " << image::EscapeControls(image::ShowPath(folder))
            << ": warning: " << doubt << "\n";
    ApplyRehearsal(options.rehearsal, arguments.empty() ? std::u16string() : arguments.front(),
                   loaded.machine);
    Replayed replayed{loaded.machine, std::move(loaded.machine), {}};
    try {
        replayed.report = RunOnMachine(replayed.machine, arguments);
    } catch (const platform::simulated::HostFileError& error) {
        throw image::ImageError(image::ShowPath(error.path), 0, error.what());
    }
    return replayed;
}

int ReportOneImage(const Options& options, std::ostream& out, std::ostream& err, bool isColoured) {
    const fs::path& folder = options.images.front();
    if (options.out)
        CheckOutFolder(folder, *options.out);
    const Replayed replayed = ReplayImage(options, folder, err);
    if (options.explain)
        out << FormatExplanation(ExplainRun(replayed.before, replayed.report.run), *options.explain,
                                 isColoured);
    else
        out << FormatReport(replayed.report, isColoured);
    if (options.out)
        image::WriteImage(replayed.machine, folder, *options.out);
    return replayed.report.run.exitCode;
}

/// One line for each image. One that cannot be read has a line too.
int ReportPilot(const Options& options, std::ostream& out, std::ostream& err) {
    std::vector<RunSummary> summaries;
    int status = 0;
    for (const fs::path& folder : options.images) {
        RunSummary summary;
        try {
            const Replayed replayed = ReplayImage(options, folder, err);
            summary = SummarizeRun(ExplainRun(replayed.before, replayed.report.run));
        } catch (const image::ImageError& error) {
            err << "saltrove-replay: " << error.what() << "\n";
            summary.state = "not readable";
            status = kExitBadImage;
        } catch (const UsageError& error) {
            err << "saltrove-replay: " << image::EscapeControls(image::ShowPath(folder)) << ": "
                << error.what() << "\n";
            summary.state = "not rehearsed";
            status = kExitUsage;
        }
        summary.image = image::ShowPath(folder);
        summaries.push_back(std::move(summary));
    }
    out << FormatPilot(summaries);
    return status;
}

}  // namespace

int RunReplay(const std::vector<std::string>& arguments, std::ostream& out, std::ostream& err,
              bool isColoured) {
    try {
        const Options options = ParseCommandLine(arguments);
        int status = 0;
        if (options.wantsHelp)
            out << kUsage << kHelp;
        else if (options.wantsVersion)
            out << "saltrove-replay " SALTROVE_VERSION "\n";
        else
            status = options.images.size() == 1 ? ReportOneImage(options, out, err, isColoured)
                                                : ReportPilot(options, out, err);
        if (out.flush())
            return status;
        err << "saltrove-replay: the output cannot be written\n";
        return kExitCannotWrite;
    } catch (const UsageError& error) {
        err << "saltrove-replay: " << error.what() << "\n" << kUsage;
        return kExitUsage;
    } catch (const image::ImageError& error) {
        err << "saltrove-replay: " << error.what() << "\n";
        return kExitBadImage;
    } catch (const fs::filesystem_error& error) {
        err << "saltrove-replay: the image after the run cannot be written: "
            << image::EscapeControls(image::ShowPath(error.path1())) << ": "
            << error.code().message() << "\n";
        return kExitCannotWrite;
    }
}

}  // namespace replay
