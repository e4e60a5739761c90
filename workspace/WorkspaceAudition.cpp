// The take audition of WorkspaceState: playing one source of a track's stack on its own time axis,
// switching to another at the same second while rolling, stepping through the stack, and the outer
// transport keys that step takes during an audition and locate tracks otherwise.

#include "model/RedBook.h"
#include "platform/AudioFileReader.h"
#include "render/SRCRenderer.h"
#include "workspace/WorkspaceState.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvane {

namespace {

constexpr double discRate = static_cast<double>(RedBook::sampleRate);

// The pre-roll choices of the transport keys' menu; 0 is "Off".
constexpr std::array<double, 5> prerollChoices{0.0, 1.0, 3.0, 5.0, 10.0};

bool isPrerollChoice(double seconds) {
    return std::find(prerollChoices.begin(), prerollChoices.end(), seconds) != prerollChoices.end();
}

} // namespace

void WorkspaceState::installAuditionHooks() {
    // The take commands start an audition through the hook; the workspace is the one that plays it.
    hooks.startPreview = [this](const Uuid& trackID, const Uuid& sourceID, bool autoPlay) {
        startPreview(trackID, sourceID, autoPlay);
    };
    hooks.refreshPreviewWaveform = [this] { refreshPreviewWaveform(); };
}

std::vector<Uuid> WorkspaceState::previewSourceChain(std::size_t trackIndex) const {
    std::vector<Uuid> chain;
    if (trackIndex >= project_.tracks.size()) {
        return chain;
    }
    const CDTrack& track = project_.tracks[trackIndex];
    if (track.audioFileURL) {
        chain.push_back(track.id);
    }
    for (const auto& version : track.versions) {
        chain.push_back(version.id);
    }
    return chain;
}

std::optional<PreviewSource> WorkspaceState::previewSource(const Uuid& trackID, const Uuid& sourceID) const {
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return std::nullopt;
    }
    const CDTrack& track = project_.tracks[*index];
    const std::string masterSRC = project_.effectiveMasterSRC();
    const std::string masterPhase = project_.effectiveMasterSRCPhase();
    if (sourceID == track.id) {
        if (!track.audioFileURL) {
            return std::nullopt;
        }
        return PreviewSource{*track.audioFileURL, track.srcAlgorithm.value_or(masterSRC),
                             track.srcPhase.value_or(masterPhase), track.activeColorHex};
    }
    const auto version = std::find_if(track.versions.begin(), track.versions.end(),
                                      [&](const TrackVersion& v) { return v.id == sourceID; });
    if (version == track.versions.end() || version->url.path().empty()) {
        return std::nullopt;
    }
    return PreviewSource{version->url, version->srcAlgorithm.value_or(masterSRC),
                         version->srcPhase.value_or(masterPhase), version->colorHex};
}

std::optional<std::int64_t> WorkspaceState::loadPreviewFile(const PreviewSource& source) {
    // The take as it will sound after conversion, if the cache has it; else the source itself.
    const std::filesystem::path resolved =
        SRCRenderer::waveformURL(source.url.path(), source.algorithm, source.phase);
    const auto reader = AudioFileReader::open(resolved);
    if (!reader || !(reader->sampleRate() > 0.0)) {
        return std::nullopt;
    }
    double frames = static_cast<double>(reader->lengthFrames());
    if (reader->sampleRate() != discRate) {
        frames = std::trunc(frames * discRate / reader->sampleRate());
    }
    const auto lengthFrames = static_cast<std::int64_t>(
        std::trunc(frames / discRate * static_cast<double>(RedBook::framesPerSecond)));

    previewResolvedURL_ = FileURL::fromPath(resolved);
    PreviewState next = preview_;
    next.previewLengthFrames = lengthFrames;
    setPreview(std::move(next));
    if (hooks.loadPreviewPeaks) {
        hooks.loadPreviewPeaks(resolved);
    }
    return lengthFrames;
}

void WorkspaceState::startPreview(const Uuid& trackID, const Uuid& sourceID, bool autoPlay) {
    const auto source = previewSource(trackID, sourceID);
    if (!source) {
        return;
    }
    PreviewState next = preview_;
    next.previewTrackID = trackID;
    next.previewSourceID = sourceID;
    next.previewURL = source->url;
    next.previewColorHex = source->colorHex;
    setPreview(std::move(next));

    const auto lengthFrames = loadPreviewFile(*source);
    if (!lengthFrames) {
        return; // unopenable: the group names the take, the engine keeps what it had
    }
    playback_->loadPreview(previewResolvedURL_->path(), *lengthFrames);
    if (autoPlay) {
        playback_->play();
    }
}

void WorkspaceState::switchPreview(const Uuid& trackID, const Uuid& sourceID) {
    if (!preview_.previewURL) {
        return;
    }
    const auto source = previewSource(trackID, sourceID);
    if (!source) {
        return;
    }
    if (preview_.previewColorHex != source->colorHex) {
        PreviewState recoloured = preview_;
        recoloured.previewColorHex = source->colorHex;
        setPreview(std::move(recoloured));
    }
    if (preview_.previewSourceID == sourceID) {
        return; // already playing: switching to it must not interrupt the sound
    }
    PreviewState next = preview_;
    next.previewTrackID = trackID;
    next.previewSourceID = sourceID;
    next.previewURL = source->url;
    setPreview(std::move(next));

    const auto lengthFrames = loadPreviewFile(*source);
    if (!lengthFrames) {
        return;
    }
    playback_->switchPreview(previewResolvedURL_->path(), *lengthFrames);
}

void WorkspaceState::previewStepVersion(int delta) {
    if (!preview_.previewTrackID || !preview_.previewSourceID) {
        return;
    }
    const Uuid trackID = *preview_.previewTrackID;
    const auto index = project_.indexOfTrack(trackID);
    if (!index) {
        return;
    }
    const std::vector<Uuid> chain = previewSourceChain(*index);
    const auto n = static_cast<std::int64_t>(chain.size());
    if (n < 2) {
        return;
    }
    const auto found = std::find(chain.begin(), chain.end(), *preview_.previewSourceID);
    const std::int64_t current = found == chain.end() ? 0 : found - chain.begin();
    const std::int64_t step = ((current + delta) % n + n) % n;
    const Uuid nextID = chain[static_cast<std::size_t>(step)];

    setSelectedTrackID(trackID);
    setSelectedVersionID(nextID == trackID ? std::nullopt : std::optional<Uuid>(nextID));
    switchPreview(trackID, nextID);
}

void WorkspaceState::setPreviewPeaks(const std::filesystem::path& forFile, std::vector<float> peaks) {
    // A late result for a take the audition has left would draw the wrong waveform.
    if (!previewResolvedURL_ || previewResolvedURL_->path() != forFile) {
        return;
    }
    PreviewState next = preview_;
    next.previewPeaks = std::move(peaks);
    setPreview(std::move(next));
}

void WorkspaceState::refreshPreviewWaveform() {
    if (!preview_.previewTrackID || !preview_.previewSourceID) {
        return;
    }
    const auto source = previewSource(*preview_.previewTrackID, *preview_.previewSourceID);
    if (!source) {
        return;
    }
    const std::filesystem::path resolved =
        SRCRenderer::waveformURL(source->url.path(), source->algorithm, source->phase);
    previewResolvedURL_ = FileURL::fromPath(resolved);
    if (hooks.loadPreviewPeaks) {
        hooks.loadPreviewPeaks(resolved);
    }
}

double WorkspaceState::prerollSeconds() const {
    const double stored = defaults_.doubleValue(prerollSecondsKey).value_or(0.0);
    return isPrerollChoice(stored) ? stored : 0.0;
}

bool WorkspaceState::setPrerollSeconds(double seconds) {
    if (!isPrerollChoice(seconds)) {
        return false;
    }
    return defaults_.setDouble(prerollSecondsKey, seconds);
}

void WorkspaceState::transportNext() {
    if (preview_.previewURL) {
        previewStepVersion(+1);
        return;
    }
    playback_->nextTrack(std::llround(prerollSeconds() * PlaybackControl::samplesPerSecond));
}

void WorkspaceState::transportPrevious() {
    if (preview_.previewURL) {
        previewStepVersion(-1);
        return;
    }
    playback_->previousTrack(std::llround(prerollSeconds() * PlaybackControl::samplesPerSecond));
}

} // namespace orvane
