// What an edit costs in the model: every edit copies the project onto the undo stack (100 kept),
// compares it with the saved snapshot, and lays the disc out again. The peer is the JSON text of
// the same project, the other obvious way to keep a snapshot and to compare two.

#include "model/AudioBlock.h"
#include "model/CDProject.h"
#include "model/ProjectCoding.h"
#include "model/TimelineCalculator.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <cstdlib>
#include <new>
#include <nlohmann/json.hpp>

namespace {

std::atomic<std::int64_t> allocatedBytes{0};
std::atomic<std::int64_t> allocationCount{0};

} // namespace

// Counts what the program allocates, so a snapshot's heap size can be reported beside its time.
void* operator new(std::size_t size) {
    allocatedBytes.fetch_add(static_cast<std::int64_t>(size), std::memory_order_relaxed);
    allocationCount.fetch_add(1, std::memory_order_relaxed);
    if (void* p = std::malloc(size == 0 ? 1 : size))
        return p;
    throw std::bad_alloc{};
}
void operator delete(void* p) noexcept {
    std::free(p);
}
void operator delete(void* p, std::size_t) noexcept {
    std::free(p);
}

namespace orvane {
namespace {

std::string text(const char* prefix, int n) {
    return std::string{prefix} + " " + std::to_string(n);
}

FileURL url(const char* folder, int n) {
    return FileURL{std::string{"file:///Volumes/Masters/"} + folder + "/Track%20" + std::to_string(n) +
                   "%20Final%20Master%2024-96.wav"};
}

// A track with every field set, two takes in its stack and an envelope of eight points.
CDTrack fullTrack(int n) {
    CDTrack t = CDTrack::make(text("A Rather Long Track Title Number", n), text("GBAYE25000", n),
                              n == 0 ? 150 : -20, 44100 * 240 + n);
    t.audioFileURL = url("Album", n);
    t.creationDate = Timestamp{1700000000 + n};
    for (int v = 0; v < 2; ++v) {
        TrackVersion version = TrackVersion::make(url("Takes", n * 10 + v), Timestamp{1690000000 + v});
        version.colorHex = "#FF8800";
        version.label = text("Client mix", v);
        version.note = "louder chorus, less low end";
        version.srcAlgorithm = "SoX VHQ";
        version.srcPhase = "Linear";
        version.rating = 3;
        StoredLoudness loudness;
        loudness.fileSize = 1234567890;
        loudness.fileModified = Timestamp{1690000000};
        loudness.lufs = -13.2;
        loudness.truePeak = -0.8;
        loudness.lra = 5.5;
        version.loudness = loudness;
        t.versions.push_back(version);
    }
    for (auto* field :
         {&t.performer, &t.songwriter, &t.composer, &t.arranger, &t.message, &t.note, &t.titleLang2,
          &t.performerLang2, &t.songwriterLang2, &t.composerLang2, &t.arrangerLang2, &t.messageLang2})
        *field = text("Some CD-Text value of middling length", n);
    t.trimStartSamples = 588;
    t.trimEndSamples = 1000;
    t.fadeInSamples = 441;
    t.fadeOutSamples = 88200;
    t.fadeInCurve = 0.1f;
    t.fadeOutCurve = 0.4f;
    t.crossfadeCurve = 0.5f;
    t.gainEnabled = true;
    t.gainDB = -0.7f;
    for (int p = 0; p < 8; ++p)
        t.gainPoints.push_back(
            GainPoint{Uuid::random(), p * 441000, -1.5f * static_cast<float>(p % 3), 0.2f});
    t.envelopeEnabled = true;
    t.envelopeSmoothing = 0.3f;
    t.indexLocked = false;
    t.index01OffsetFrames = 30;
    t.subIndexFrames = {750, 1500, 3000};
    t.srcAlgorithm = "Velmont SRC";
    t.srcPhase = "Minimum";
    t.versionColorSeq = 2;
    t.activeColorHex = "#00AAFF";
    t.activeLabel = "Final";
    t.activeNote = "approved";
    t.activeRating = 5;
    return t;
}

CDProject fullProject(int trackCount) {
    CDProject p;
    p.mcn = "4006381333931";
    p.albumTitle = "An Album Title Of Ordinary Length";
    for (auto* field :
         {&p.albumPerformer, &p.albumSongwriter, &p.albumComposer, &p.albumArranger, &p.albumMessage,
          &p.masterNote, &p.discID, &p.genreText, &p.masterID, &p.albumTitleLang2})
        *field = "Album-level text";
    p.genreCode = 14;
    p.cdTextLanguageCode = 9;
    p.cdTextLanguage2Code = 8;
    p.masterSRC = "SoX VHQ";
    p.masterDither = "TPDF";
    p.masterSRCPhase = "Linear";
    p.srcHybridMode = true;
    for (int n = 0; n < trackCount; ++n)
        p.tracks.push_back(fullTrack(n));
    return p;
}

constexpr int kTracks = 99;
constexpr int kUndoSteps = 100;

void setHeapCounters(benchmark::State& state, std::int64_t bytes, std::int64_t allocations) {
    state.counters["heapBytes"] = static_cast<double>(bytes);
    state.counters["allocations"] = static_cast<double>(allocations);
}

void BM_ProjectCopy(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    std::int64_t bytes = 0, allocations = 0;
    for (auto _ : state) {
        const auto bytesBefore = allocatedBytes.load();
        const auto countBefore = allocationCount.load();
        CDProject copy = project;
        benchmark::DoNotOptimize(copy);
        bytes = allocatedBytes.load() - bytesBefore;
        allocations = allocationCount.load() - countBefore;
    }
    setHeapCounters(state, bytes, allocations);
    state.counters["undoStackBytes"] = static_cast<double>(bytes * kUndoSteps);
}

void BM_ProjectEqual(benchmark::State& state) {
    // Equal projects are the worst case: every field is visited.
    const CDProject project = fullProject(kTracks);
    const CDProject copy = project;
    for (auto _ : state) {
        bool equal = project == copy;
        benchmark::DoNotOptimize(equal);
    }
}

void BM_ProjectEqualLastFieldDiffers(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    CDProject changed = project;
    changed.tracks.back().activeRating = 4;
    for (auto _ : state) {
        bool equal = project == changed;
        benchmark::DoNotOptimize(equal);
    }
}

void BM_UndoStackOf100Copies(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    for (auto _ : state) {
        std::vector<CDProject> stack;
        stack.reserve(kUndoSteps);
        for (int i = 0; i < kUndoSteps; ++i)
            stack.push_back(project);
        benchmark::DoNotOptimize(stack);
    }
}

// Peer: the snapshot as document text, and comparison of two such texts.
void BM_PeerSnapshotAsJSONText(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    std::size_t size = 0;
    for (auto _ : state) {
        std::string snapshot = ProjectCoding::encode(project).dump();
        size = snapshot.size();
        benchmark::DoNotOptimize(snapshot);
    }
    state.counters["textBytes"] = static_cast<double>(size);
}

void BM_PeerCompareJSONText(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    const std::string a = ProjectCoding::encode(project).dump();
    const std::string b = a;
    for (auto _ : state) {
        bool equal = a == b;
        benchmark::DoNotOptimize(equal);
    }
}

void BM_DecodeProject(benchmark::State& state) {
    const nlohmann::json document = ProjectCoding::encode(fullProject(kTracks));
    for (auto _ : state) {
        auto decoded = ProjectCoding::decode(document);
        benchmark::DoNotOptimize(decoded);
    }
}

void BM_CalculatePositions(benchmark::State& state) {
    const CDProject project = fullProject(kTracks);
    for (auto _ : state) {
        auto positions = TimelineCalculator::calculatePositions(project);
        benchmark::DoNotOptimize(positions);
    }
}

void BM_LayoutAndBlocks(benchmark::State& state) {
    // What recalculateTimeline does after every edit.
    const CDProject project = fullProject(kTracks);
    for (auto _ : state) {
        auto positions = TimelineCalculator::calculatePositions(project);
        auto blocks = AudioBlock::construct(project, *positions);
        benchmark::DoNotOptimize(blocks);
    }
}

BENCHMARK(BM_ProjectCopy);
BENCHMARK(BM_ProjectEqual);
BENCHMARK(BM_ProjectEqualLastFieldDiffers);
BENCHMARK(BM_UndoStackOf100Copies)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_PeerSnapshotAsJSONText);
BENCHMARK(BM_PeerCompareJSONText);
BENCHMARK(BM_DecodeProject);
BENCHMARK(BM_CalculatePositions);
BENCHMARK(BM_LayoutAndBlocks);

} // namespace
} // namespace orvane

BENCHMARK_MAIN();
