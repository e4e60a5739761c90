// Monitoring render of the timeline: the block walk, track and crossfade chunks through the render
// stage, the de-emphasis shelf, and the source reading with its streamed conversion.

#include "render/TimelineRenderer.h"

#include "model/CDTrack.h"
#include "platform/AudioConverter.h"
#include "render/RenderStage.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace orvane {

namespace {

constexpr double targetRate = 44100.0;
constexpr std::int64_t spf = TimelineRenderer::samplesPerFrame;

std::size_t sz(std::int64_t n) {
    return static_cast<std::size_t>(n);
}

const CDTrack* trackAt(const CDProject& project, std::int64_t index) {
    if (index < 0 || index >= static_cast<std::int64_t>(project.tracks.size()))
        return nullptr;
    return &project.tracks[sz(index)];
}

// The first block that covers the frame, in list order.
const AudioBlock* blockAt(const std::vector<AudioBlock>& blocks, std::int64_t frame) {
    for (const AudioBlock& block : blocks) {
        const std::int64_t start = block.startFrame();
        if (start <= frame && start + block.durationFrames() > frame)
            return &block;
    }
    return nullptr;
}

} // namespace

TimelineRenderer::Snapshot TimelineRenderer::Snapshot::make(CDProject project,
                                                            std::vector<TrackPosition> positions) {
    Snapshot snapshot;
    snapshot.blocks = AudioBlock::construct(project, positions);
    snapshot.totalSamples = positions.empty() ? 0 : positions.back().endLBA * samplesPerFrame;
    snapshot.project = std::move(project);
    snapshot.positions = std::move(positions);
    return snapshot;
}

void TimelineRenderer::render(float* l, float* r, std::int64_t startSample441, std::int64_t count,
                              const Snapshot& snapshot, Reading reading) {
    if (count <= 0)
        return;
    std::fill_n(l, count, 0.0f);
    std::fill_n(r, count, 0.0f);
    if (snapshot.totalSamples <= startSample441)
        return;
    std::int64_t written = 0;
    std::int64_t global = startSample441;
    for (;;) {
        const std::int64_t frame = global / spf;
        if (const AudioBlock* block = blockAt(snapshot.blocks, frame)) {
            const std::int64_t chunk = std::min(block->endFrame() * spf - global, count - written);
            if (chunk < 1)
                break;
            renderBlockChunk(*block, l, r, written, global, chunk, snapshot, reading);
            written += chunk;
        } else {
            // A gap no block covers stays silent up to the next frame boundary.
            written += frame * spf - global + spf;
        }
        if (written >= count)
            break;
        global = startSample441 + written;
        if (global >= snapshot.totalSamples)
            break;
    }
}

void TimelineRenderer::renderBlockChunk(const AudioBlock& block, float* l, float* r, std::int64_t outOffset,
                                        std::int64_t globalSample, std::int64_t count,
                                        const Snapshot& snapshot, Reading reading) {
    if (const auto* track = std::get_if<AudioBlock::Track>(&block.value))
        renderTrackChunk(*track, l, r, outOffset, globalSample, count, snapshot.project, reading);
    else if (const auto* fade = std::get_if<AudioBlock::Crossfade>(&block.value))
        renderCrossfadeChunk(*fade, l, r, outOffset, globalSample, count, snapshot.project, reading);
}

void TimelineRenderer::renderTrackChunk(const AudioBlock::Track& block, float* l, float* r,
                                        std::int64_t outOffset, std::int64_t globalSample, std::int64_t count,
                                        const CDProject& project, Reading reading) {
    const CDTrack* track = trackAt(project, block.trackIndex);
    if (track == nullptr || !track->audioFileURL)
        return;
    const std::int64_t local = globalSample - block.startFrame * spf;
    const std::int64_t readPos = block.fileStartFrame * spf + local;
    ReadScratch& in = scratch_[0];
    if (!readResampled(in, block.trackIndex, track->audioFileURL->path(), readPos, count, reading))
        return;
    if (track->preEmphasis)
        applyDeEmphasis(block.trackIndex, in.l.data(), in.r.data(), count);
    RenderStage::TrackLevel level(*track, spf);
    level.apply(in.l.data(), in.r.data(), l + outOffset, r + outOffset, readPos - track->trimStartSamples,
                count);
}

void TimelineRenderer::renderCrossfadeChunk(const AudioBlock::Crossfade& block, float* l, float* r,
                                            std::int64_t outOffset, std::int64_t globalSample,
                                            std::int64_t count, const CDProject& project, Reading reading) {
    const CDTrack* track1 = trackAt(project, block.trackIndex1);
    const CDTrack* track2 = trackAt(project, block.trackIndex2);
    if (track1 == nullptr || track2 == nullptr || !track1->audioFileURL || !track2->audioFileURL)
        return;
    const std::int64_t local = globalSample - block.startFrame * spf;
    const std::int64_t read1 = block.fileStartFrame1 * spf + local;
    const std::int64_t read2 = block.fileStartFrame2 * spf + local;
    const std::int64_t total = block.durationFrames * spf;
    ReadScratch& in1 = scratch_[0];
    ReadScratch& in2 = scratch_[1];
    if (!readResampled(in1, block.trackIndex1, track1->audioFileURL->path(), read1, count, reading) ||
        !readResampled(in2, block.trackIndex2, track2->audioFileURL->path(), read2, count, reading))
        return;
    if (track1->preEmphasis)
        applyDeEmphasis(block.trackIndex1, in1.l.data(), in1.r.data(), count);
    if (track2->preEmphasis)
        applyDeEmphasis(block.trackIndex2, in2.l.data(), in2.r.data(), count);

    RenderStage::CrossfadeMix mix(*track1, *track2, total, spf);
    mix.mix(in1.l.data(), in1.r.data(), in2.l.data(), in2.r.data(), l + outOffset, r + outOffset, local,
            read1 - track1->trimStartSamples, read2 - track2->trimStartSamples, count);
}

void TimelineRenderer::applyDeEmphasis(std::int64_t trackIndex, float* l, float* r, std::int64_t count) {
    StereoDeEmphasis& state = deemphStates_[trackIndex];
    auto run = [count](DeEmphasisFilter& f, float* x) {
        float x1 = f.x1;
        float y1 = f.y1;
        for (std::int64_t i = 0; i < count; ++i) {
            const float in = x[i];
            y1 = DeEmphasis::pole * y1 + DeEmphasis::gain * (in - DeEmphasis::zero * x1);
            x1 = in;
            x[i] = y1;
        }
        f.x1 = x1;
        f.y1 = y1;
    };
    run(state.l, l);
    run(state.r, r);
}

AudioFileReader* TimelineRenderer::file(const std::filesystem::path& path) {
    const std::string key = path.string();
    if (auto found = fileCache_.find(key); found != fileCache_.end())
        return &found->second;
    auto opened = AudioFileReader::open(path);
    if (!opened)
        return nullptr;
    return &fileCache_.emplace(key, std::move(*opened)).first->second;
}

bool TimelineRenderer::readResampled(ReadScratch& scratch, std::int64_t streamKey,
                                     const std::filesystem::path& path, std::int64_t startSample441,
                                     std::int64_t count, Reading reading) {
    AudioFileReader* reader = file(path);
    if (reader == nullptr)
        return false;
    scratch.l.assign(sz(count), 0.0f);
    scratch.r.assign(sz(count), 0.0f);
    if (reading == Reading::perChunk && std::abs(reader->sampleRate() - targetRate) >= 0.5)
        return readConvertedChunk(scratch, *reader, startSample441, count);
    return streams_[streamKey].read(*reader, startSample441, count, scratch.l.data(), scratch.r.data());
}

bool TimelineRenderer::readConvertedChunk(ReadScratch& scratch, AudioFileReader& reader,
                                          std::int64_t startSample441, std::int64_t count) {
    const double sr = reader.sampleRate();
    const auto srcStart = static_cast<std::int64_t>(sr * static_cast<double>(startSample441) / targetRate);
    const auto srcCount = static_cast<std::int64_t>(sr * static_cast<double>(count) / targetRate);
    if (srcStart < 0 || srcStart >= reader.lengthFrames())
        return true;
    if (!reader.setFramePosition(srcStart))
        return false;
    const std::size_t want = sz(srcCount + 2);
    std::optional<AudioBuffer>& native = scratch.native;
    if (!native || native->sampleRate() != sr || native->channelCount() != reader.channelCount() ||
        native->frameCapacity() < want)
        native = reader.makeBuffer(want);
    if (!reader.read(*native, want))
        return false;
    const std::size_t capacity = sz(count + 4);
    std::optional<AudioBuffer>& converted = scratch.converted;
    if (!converted || converted->frameCapacity() != capacity)
        converted.emplace(targetRate, 2, capacity);
    if (!AudioConverter::convert(*native, *converted))
        return false;
    const std::size_t n = std::min(converted->frameLength(), sz(count));
    std::copy_n(converted->channel(0), n, scratch.l.begin());
    std::copy_n(converted->channel(1), n, scratch.r.begin());
    return true;
}

void TimelineRenderer::renderPreview(float* l, float* r, const std::filesystem::path& path,
                                     std::int64_t startSample441, std::int64_t count, Reading reading) {
    if (count <= 0)
        return;
    ReadScratch& in = scratch_[0];
    if (!readResampled(in, previewStreamKey, path, std::max<std::int64_t>(startSample441, 0), count,
                       reading)) {
        std::fill_n(l, count, 0.0f);
        std::fill_n(r, count, 0.0f);
        return;
    }
    std::copy_n(in.l.begin(), count, l);
    std::copy_n(in.r.begin(), count, r);
}

} // namespace orvane
