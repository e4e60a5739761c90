#pragma once
// What a loudness run measures and what it tells the user: the list of jobs for a set of tracks
// (each track's active take with its edit, and each take of its stack not yet measured, whole and
// raw), the texts of the closing alerts, and the measurement of a job list on worker threads.
// Pure functions over values; measureJobs may be called from any thread.

#include "analysis/LoudnessAnalyzer.h"
#include "analysis/TrackLoudnessData.h"
#include "model/CDProject.h"
#include "model/CDTrack.h"
#include "model/TrackLoudness.h"
#include "model/TrackVersion.h"
#include "model/Uuid.h"

#include <atomic>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <vector>

namespace orvane {

struct LoudnessJob {
    Uuid id;       // the track's id for its active take, else the take's id
    CDTrack track; // what is measured
    std::string label;
    bool isMaster = true; // the active take as it sounds on the disc

    bool operator==(const LoudnessJob&) const = default;
};

struct LoudnessAlert {
    std::string title;
    std::string text;
};

namespace LoudnessJobs {

// The jobs for the tracks in `trackIDs`, in running order. Takes already in `measured` are skipped.
std::vector<LoudnessJob> jobs(const CDProject& project, const std::set<Uuid>& trackIDs,
                              const std::map<Uuid, TrackLoudness>& measured);
// A bare track that plays a take's whole file, with no trim, fade or gain.
CDTrack probe(const TrackVersion& take);

// The closing summary: the album figure, or why there is none.
LoudnessAlert summaryAlert(const std::optional<TrackLoudness>& album, bool anyMeasured);
// The list of what could not be measured; at most 8 labels are named.
LoudnessAlert failureAlert(const std::vector<std::string>& labels);

// Progress of a whole list: the job's index, its label and the fraction of the list done.
using ListProgress = std::function<void(std::size_t job, const std::string& label, double fraction)>;

// Measures the jobs on up to `threads` threads; result i belongs to job i and is empty for a job that
// failed, was cancelled or was not reached; what finished before a cancel is kept. Setting
// `cancelled` stops the run soon after. `progress` is called from
// the worker threads, one at a time.
std::vector<std::optional<TrackLoudnessData>> measureJobs(const std::vector<LoudnessJob>& jobs,
                                                          unsigned threads,
                                                          const std::atomic<bool>& cancelled,
                                                          const ListProgress& progress = {});

} // namespace LoudnessJobs
} // namespace orvane
