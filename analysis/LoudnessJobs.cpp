#include "analysis/LoudnessJobs.h"

#include "model/RedBook.h"
#include "platform/AudioFileReader.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <mutex>
#include <thread>

namespace orvane::LoudnessJobs {

namespace {

std::string format(const char* pattern, double value) {
    char text[64];
    std::snprintf(text, sizeof text, pattern, value);
    return text;
}

} // namespace

CDTrack probe(const TrackVersion& take) {
    CDTrack track;
    track.id = take.id;
    const std::filesystem::path path = take.url.path();
    track.title = path.stem().string();
    track.audioFileURL = take.url;
    if (auto reader = AudioFileReader::open(path); reader && reader->sampleRate() > 0.0)
        track.sourceAudioSamples = static_cast<std::int64_t>(static_cast<double>(reader->lengthFrames()) *
                                                             RedBook::sampleRate / reader->sampleRate());
    return track;
}

std::vector<LoudnessJob> jobs(const CDProject& project, const std::set<Uuid>& trackIDs,
                              const std::map<Uuid, TrackLoudness>& measured) {
    std::vector<LoudnessJob> out;
    for (std::size_t i = 0; i < project.tracks.size(); ++i) {
        const CDTrack& track = project.tracks[i];
        if (!trackIDs.contains(track.id))
            continue;
        char number[32];
        std::snprintf(number, sizeof number, "Track %02zu", i + 1);
        const std::string label = track.title.empty() ? std::string(number) : track.title;
        out.push_back(LoudnessJob{track.id, track, label, true});
        const std::size_t m = track.versions.size();
        for (std::size_t j = 0; j < m; ++j) {
            const TrackVersion& take = track.versions[j];
            if (measured.contains(take.id))
                continue;
            out.push_back(LoudnessJob{
                take.id, probe(take),
                label + " \u2014 take " + std::to_string(j + 1) + "/" + std::to_string(m), false});
        }
    }
    return out;
}

LoudnessAlert summaryAlert(const std::optional<TrackLoudness>& album, bool anyMeasured) {
    LoudnessAlert alert{"Loudness Analysis Complete", {}};
    if (album) {
        char text[128];
        std::snprintf(text, sizeof text, "Album: %.1f LUFS, true peak %.1f dBTP", album->lufs,
                      album->truePeak);
        alert.text = text;
        if (album->lra)
            alert.text += format(", LRA %.1f LU", *album->lra);
        alert.text += "\nPer-track values are in the table and PQ sheet.";
    } else if (anyMeasured) {
        alert.text =
            "No album summary \u2014 not every track could be analyzed (missing audio?). Measured per-track "
            "values are in the table and PQ sheet.";
    } else {
        alert.text = "No analyzable audio found.";
    }
    return alert;
}

LoudnessAlert failureAlert(const std::vector<std::string>& labels) {
    LoudnessAlert alert;
    alert.title = labels.size() == 1 ? "One item could not be measured"
                                     : std::to_string(labels.size()) + " items could not be measured";
    alert.text = "Their audio couldn\u2019t be read, or holds no signal above the measurement gate:\n\n";
    constexpr std::size_t shown = 8;
    for (std::size_t i = 0; i < labels.size() && i < shown; ++i)
        alert.text += (i > 0 ? "\n" : "") + labels[i];
    if (labels.size() > shown)
        alert.text += "\n\u2026 and " + std::to_string(labels.size() - shown) + " more";
    alert.text +=
        "\n\nCheck the files are reachable and run the analysis again \u2014 Analyze in the version "
        "inspector re-measures a single take.";
    return alert;
}

std::vector<std::optional<TrackLoudnessData>> measureJobs(const std::vector<LoudnessJob>& jobs,
                                                          unsigned threads,
                                                          const std::atomic<bool>& cancelled,
                                                          const ListProgress& progress) {
    std::vector<std::optional<TrackLoudnessData>> results(jobs.size());
    if (jobs.empty())
        return results;
    const double n = static_cast<double>(jobs.size());
    std::mutex reportLock;
    std::vector<double> done(jobs.size(), 0.0); // fraction of each job, for the list's total
    std::atomic<std::size_t> next{0};
    const auto work = [&] {
        for (std::size_t i = next++; i < jobs.size() && !cancelled; i = next++) {
            const auto report = [&](double fraction) {
                if (progress) {
                    const std::lock_guard lock(reportLock);
                    done[i] = fraction;
                    double total = 0.0;
                    for (double d : done)
                        total += d;
                    progress(i, jobs[i].label, total / n);
                }
                return !cancelled.load();
            };
            results[i] = LoudnessAnalyzer::analyzeTrackData(jobs[i].track, report);
            report(1.0);
        }
    };
    const unsigned count = std::clamp<unsigned>(threads, 1, static_cast<unsigned>(jobs.size()));
    std::vector<std::thread> helpers;
    for (unsigned t = 1; t < count; ++t)
        helpers.emplace_back(work);
    work();
    for (auto& helper : helpers)
        helper.join();
    return results;
}

} // namespace orvane::LoudnessJobs
