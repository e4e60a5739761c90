// orvane-cli loudness: integrated loudness, true peak and loudness range of a project's tracks (kept
// in the document, so an unchanged file is measured once) or of bare audio files.

#include "analysis/LoudnessJobs.h"
#include "analysis/LoudnessStore.h"
#include "cli/Commands.h"
#include "workspace/ProjectStore.h"

#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <mutex>
#include <nlohmann/json.hpp>
#include <set>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

namespace orvane::cli {

namespace {

constexpr const char* kHelp = R"(usage: orvane-cli loudness PROJECT [--json] [--tracks N,...] [--force]
       orvane-cli loudness FILE... [--json]

Measures EBU R128 loudness as the disc will carry it: each track after its trims, fades, gain and
envelope, at 44.1 kHz. Prints per track the integrated loudness (LUFS), the 4x oversampled true peak
(dBTP) and the loudness range (LU), and the album's figures when every track could be measured.

With a project document, measurements are saved back into it, tied to each audio file's size and
date: a later run reuses them while the file is unchanged and measures a changed file again. Takes of
a track's stack are measured once, whole and raw.

  --json          print the results as JSON
  --tracks LIST   only these tracks, by number (1-based, comma-separated)
  --force         measure again even where a stored measurement still matches its file

A progress bar is drawn on stderr when it is a terminal. Ctrl-C stops the measurement.

exit status: 0 all measured, 1 an item could not be measured or the document could not be read or
written, 2 usage error
)";

std::atomic<bool> interrupted{false};

void onInterrupt(int) {
    interrupted = true;
}

int usage(const std::string& problem) {
    std::fprintf(stderr, "orvane-cli loudness: %s\n%s", problem.c_str(), kHelp);
    return 2;
}

int fail(const std::string& text) {
    std::fprintf(stderr, "orvane-cli loudness: %s\n", text.c_str());
    return 1;
}

struct LoudnessArgs {
    std::vector<std::string> paths;
    bool json = false;
    bool force = false;
    std::optional<std::vector<std::size_t>> tracks; // 1-based
};

std::optional<std::string> parseArgs(Args args, LoudnessArgs& parsed) {
    for (std::size_t i = 0; i < args.size(); ++i) {
        const std::string& a = args[i];
        if (a == "--json") {
            parsed.json = true;
        } else if (a == "--force") {
            parsed.force = true;
        } else if (a == "--tracks") {
            if (i + 1 >= args.size())
                return "'--tracks' needs a list of track numbers";
            std::stringstream list(args[++i]);
            std::string item;
            std::vector<std::size_t> numbers;
            while (std::getline(list, item, ',')) {
                if (item.empty() || item.size() > 3 || !std::all_of(item.begin(), item.end(), ::isdigit) ||
                    std::stoul(item) == 0)
                    return "'" + item + "' is not a track number";
                numbers.push_back(std::stoul(item));
            }
            if (numbers.empty())
                return "'--tracks' needs a list of track numbers";
            parsed.tracks = std::move(numbers);
        } else if (!a.empty() && a[0] == '-') {
            return "unknown option '" + a + "'";
        } else {
            parsed.paths.push_back(a);
        }
    }
    if (parsed.paths.empty())
        return "a project or audio files are needed";
    return std::nullopt;
}

// A bar on stderr while it is a terminal; nothing otherwise.
class ProgressBar final {
  public:
    ProgressBar() : terminal_(::isatty(STDERR_FILENO) == 1) {}
    void operator()(const std::string& label, double fraction) {
        if (!terminal_)
            return;
        const int percent = static_cast<int>(std::floor(std::clamp(fraction, 0.0, 1.0) * 100.0));
        if (percent == percent_ && label == label_)
            return;
        percent_ = percent;
        label_ = label;
        const int filled = percent * 30 / 100;
        std::fprintf(stderr, "\r[%s%s] %3d%% %-40.40s",
                     std::string(static_cast<std::size_t>(filled), '#').c_str(),
                     std::string(static_cast<std::size_t>(30 - filled), '-').c_str(), percent, label.c_str());
        std::fflush(stderr);
    }
    void finish() {
        if (terminal_ && percent_ >= 0)
            std::fprintf(stderr, "\r%-80s\r", "");
    }

  private:
    bool terminal_;
    int percent_ = -1;
    std::string label_;
};

struct Row {
    std::size_t number = 0;
    std::string title;
    std::string file;
    std::optional<TrackLoudness> figures;
    bool measured = false;
};

std::string figure(std::optional<double> value) {
    if (!value)
        return "\u2014";
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", *value);
    return text;
}

nlohmann::json figuresJson(const std::optional<TrackLoudness>& figures) {
    if (!figures)
        return nullptr;
    return {{"lufs", figures->lufs},
            {"truePeak", figures->truePeak},
            {"lra", figures->lra ? nlohmann::json(*figures->lra) : nlohmann::json(nullptr)}};
}

// Pads to `width` characters (not bytes: the dash and titles may be several bytes long).
std::string pad(const std::string& text, std::size_t width, bool right) {
    std::size_t characters = 0;
    for (unsigned char ch : text)
        characters += (ch & 0xC0) != 0x80;
    const std::string fill(characters < width ? width - characters : 0, ' ');
    return right ? fill + text : text + fill;
}

constexpr const char* kNotMeasured =
    "audio couldn\u2019t be read, or holds no signal above the measurement gate";

void print(const std::vector<Row>& rows, const std::optional<TrackLoudness>& album, bool json,
           bool showSource) {
    if (json) {
        nlohmann::json tracks = nlohmann::json::array();
        for (const auto& row : rows) {
            nlohmann::json entry = figuresJson(row.figures);
            if (entry.is_null())
                entry = {{"lufs", nullptr}, {"truePeak", nullptr}, {"lra", nullptr}, {"error", kNotMeasured}};
            entry["number"] = row.number;
            entry["title"] = row.title;
            entry["file"] = row.file;
            if (showSource)
                entry["measured"] = row.measured;
            tracks.push_back(std::move(entry));
        }
        const nlohmann::json out{{"tracks", std::move(tracks)}, {"album", figuresJson(album)}};
        std::printf("%s\n", out.dump(2, ' ', false, nlohmann::json::error_handler_t::replace).c_str());
        return;
    }
    std::size_t width = 5;
    for (const auto& row : rows)
        width = std::max(width, std::min<std::size_t>(row.title.size(), 48));
    std::printf(" #  %s %8s %8s %6s\n", pad("TITLE", width, false).c_str(), "LUFS", "dBTP", "LRA");
    for (const auto& row : rows) {
        const auto lufs = row.figures ? std::optional(row.figures->lufs) : std::nullopt;
        const auto peak = row.figures ? std::optional(row.figures->truePeak) : std::nullopt;
        const auto lra = row.figures ? row.figures->lra : std::nullopt;
        const std::string title = row.title.size() > 48 ? row.title.substr(0, 47) + "\u2026" : row.title;
        std::printf("%02zu  %s %s %s %s", row.number, pad(title, width, false).c_str(),
                    pad(figure(lufs), 8, true).c_str(), pad(figure(peak), 8, true).c_str(),
                    pad(figure(lra), 6, true).c_str());
        if (!row.figures)
            std::printf("  %s", kNotMeasured);
        else if (showSource)
            std::printf("  %s", row.measured ? "measured" : "stored");
        std::printf("\n");
    }
    if (album) {
        std::printf("%s %s %s %s\n", pad("ALBUM", width + 4, false).c_str(),
                    pad(figure(album->lufs), 8, true).c_str(), pad(figure(album->truePeak), 8, true).c_str(),
                    pad(figure(album->lra), 6, true).c_str());
    } else {
        std::printf("ALBUM: no album figure \u2014 not every track could be measured\n");
    }
}

// Measures the jobs on every core, with the bar and Ctrl-C.
std::vector<std::optional<TrackLoudnessData>> measure(const std::vector<LoudnessJob>& jobs) {
    ProgressBar bar;
    std::mutex barLock;
    interrupted = false;
    const auto previous = std::signal(SIGINT, onInterrupt);
    const unsigned threads = std::max(1u, std::thread::hardware_concurrency());
    auto results = LoudnessJobs::measureJobs(jobs, threads, interrupted,
                                             [&](std::size_t, const std::string& label, double fraction) {
                                                 bar("Analyzing \u201c" + label + "\u201d", fraction);
                                             });
    bar.finish();
    std::signal(SIGINT, previous);
    return results;
}

void reportFailures(const std::vector<std::string>& labels) {
    if (labels.empty())
        return;
    const auto alert = LoudnessJobs::failureAlert(labels);
    std::fprintf(stderr, "%s\n%s\n", alert.title.c_str(), alert.text.c_str());
}

int runProject(const LoudnessArgs& parsed) {
    const std::filesystem::path path = parsed.paths.front();
    CDProject project;
    try {
        project = ProjectStore::load(path).project;
    } catch (const ProjectStoreError& error) {
        return fail(error.what());
    }
    std::set<Uuid> selected;
    if (parsed.tracks) {
        for (std::size_t n : *parsed.tracks) {
            if (n > project.tracks.size())
                return usage("there is no track " + std::to_string(n) + " (the project has " +
                             std::to_string(project.tracks.size()) + ")");
            selected.insert(project.tracks[n - 1].id);
        }
    } else {
        for (const auto& track : project.tracks)
            selected.insert(track.id);
    }

    LoudnessStore store;
    store.seedLoudnessFromProject(project);
    // The active take is measured unless its stored energies still match its file; takes of a stack
    // unless their figures do.
    std::map<Uuid, TrackLoudness> known;
    if (!parsed.force)
        known = store.loudness();
    std::vector<LoudnessJob> jobs;
    for (auto& job : LoudnessJobs::jobs(project, selected, known)) {
        if (job.isMaster && !parsed.force && store.loudnessData().contains(job.id))
            continue;
        jobs.push_back(std::move(job));
    }
    const auto results = measure(jobs);
    if (interrupted)
        return fail("interrupted; nothing was saved");

    std::set<Uuid> measuredNow;
    std::vector<std::string> failures;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        const auto& data = results[i];
        const auto figures = data ? data->summary() : std::nullopt;
        if (!figures) {
            failures.push_back(jobs[i].label);
            if (jobs[i].isMaster && data)
                store.storeLoudnessData(project, *data, jobs[i].id); // silence: data but no figure
            continue;
        }
        measuredNow.insert(jobs[i].id);
        if (jobs[i].isMaster)
            store.storeLoudnessData(project, *data, jobs[i].id);
        else
            store.setLoudness(jobs[i].id, *figures);
    }
    if (!measuredNow.empty()) {
        try {
            ProjectStore::save(store.projectWithLoudness(project), path);
        } catch (const ProjectStoreError& error) {
            return fail(error.what());
        }
    }

    std::vector<Row> rows;
    for (std::size_t i = 0; i < project.tracks.size(); ++i) {
        const CDTrack& track = project.tracks[i];
        if (!selected.contains(track.id))
            continue;
        Row row{
            i + 1, track.title, track.audioFileURL ? track.audioFileURL->lastPathComponent() : "", {}, false};
        if (const auto found = store.loudness().find(track.id); found != store.loudness().end())
            row.figures = found->second;
        row.measured = measuredNow.contains(track.id);
        rows.push_back(std::move(row));
    }
    print(rows, store.albumLoudness(), parsed.json, true);
    reportFailures(failures);
    return failures.empty() ? 0 : 1;
}

int runFiles(const LoudnessArgs& parsed) {
    std::vector<LoudnessJob> jobs;
    for (const auto& p : parsed.paths) {
        const TrackVersion take = TrackVersion::make(FileURL::fromPath(p));
        CDTrack probe = LoudnessJobs::probe(take);
        jobs.push_back(LoudnessJob{take.id, probe, std::filesystem::path(p).filename().string(), true});
    }
    const auto results = measure(jobs);
    if (interrupted)
        return fail("interrupted");
    std::vector<Row> rows;
    std::vector<TrackLoudnessData> datas;
    std::vector<std::string> failures;
    for (std::size_t i = 0; i < jobs.size(); ++i) {
        Row row{i + 1, jobs[i].track.title, jobs[i].label, {}, true};
        if (results[i])
            row.figures = results[i]->summary();
        if (!row.figures)
            failures.push_back(jobs[i].label);
        if (results[i])
            datas.push_back(*results[i]);
        rows.push_back(std::move(row));
    }
    const auto album = failures.empty() && datas.size() == jobs.size() ? LoudnessAnalyzer::albumSummary(datas)
                                                                       : std::nullopt;
    print(rows, album, parsed.json, false);
    reportFailures(failures);
    return failures.empty() ? 0 : 1;
}

} // namespace

int runLoudness(Args args) {
    if (wantsHelp(args)) {
        std::fputs(kHelp, stdout);
        return 0;
    }
    LoudnessArgs parsed;
    if (const auto problem = parseArgs(args, parsed))
        return usage(*problem);
    const bool project = parsed.paths.size() == 1 && ProjectStore::isOpenablePath(parsed.paths.front());
    if (!project) {
        for (const auto& p : parsed.paths)
            if (ProjectStore::isOpenablePath(p))
                return usage("a project is measured on its own, not among audio files");
        if (parsed.tracks || parsed.force)
            return usage("'--tracks' and '--force' belong to a project");
        return runFiles(parsed);
    }
    return runProject(parsed);
}

} // namespace orvane::cli
