#include "render/SRCRenderer.h"

#include "engines/ResamplerFactory.h"
#include "engines/SRCPreset.h"
#include "model/Uuid.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"

#include <fcntl.h>
#include <locale.h>
#include <sys/stat.h>

#include <algorithm>
#include <cctype>
#include <cerrno>
#include <clocale>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <cwctype>
#include <exception>
#include <memory>
#include <mutex>
#include <thread>
#include <unordered_map>
#include <unordered_set>
#include <vector>

namespace orvane::SRCRenderer {

namespace fs = std::filesystem;

namespace {

constexpr std::size_t kBlockFrames = 65536;
constexpr std::string_view kCacheSubfolder = "orvane/orvane-src-cache";

std::mutex& cacheFolderMutex() {
    static std::mutex m;
    return m;
}
std::optional<fs::path>& cacheFolderOverride() {
    static std::optional<fs::path> folder;
    return folder;
}

fs::path defaultCacheRoot() {
    const char* xdg = std::getenv("XDG_CACHE_HOME");
    if (xdg != nullptr && fs::path(xdg).is_absolute())
        return xdg;
    const char* home = std::getenv("HOME");
    if (home != nullptr && *home != '\0')
        return fs::path(home) / ".cache";
    std::error_code ec;
    const fs::path temporary = fs::temp_directory_path(ec);
    return ec ? fs::path("/tmp") : temporary;
}

// The needsSRC memo: source path "#" modification second -> the rounded rate. A file's content changes
// only with its modification time, so an entry never goes stale and nothing clears the map.
std::mutex& rateMemoMutex() {
    static std::mutex m;
    return m;
}
std::unordered_map<std::string, long>& rateMemo() {
    static std::unordered_map<std::string, long> memo;
    return memo;
}

// The file's rate rounded to an integer; nothing if it cannot be opened. Remembered only when known.
std::optional<long> roundedRate(const fs::path& source) {
    const std::string key = source.string() + "#" + std::to_string(modificationSeconds(source));
    {
        std::lock_guard lock(rateMemoMutex());
        if (const auto found = rateMemo().find(key); found != rateMemo().end())
            return found->second;
    }
    const auto reader = AudioFileReader::open(source);
    if (!reader)
        return std::nullopt;
    const long rate = std::lround(reader->sampleRate());
    std::lock_guard lock(rateMemoMutex());
    rateMemo().emplace(key, rate);
    return rate;
}

// Unicode letters and digits count as alphanumeric when the C.UTF-8 classification is there; without
// it only ASCII punctuation and blanks are replaced and other characters are kept.
bool isAlphanumeric(char32_t codePoint) {
    static const locale_t utf8 = newlocale(LC_CTYPE_MASK, "C.UTF-8", static_cast<locale_t>(nullptr));
    if (codePoint < 0x80)
        return std::isalnum(static_cast<int>(codePoint)) != 0 && codePoint != 0;
    if (utf8 == static_cast<locale_t>(nullptr))
        return true;
    return iswalnum_l(static_cast<wint_t>(codePoint), utf8) != 0;
}

// Each character that is not a letter or digit becomes "_"; a malformed byte counts as one such character.
std::string sanitizedStem(const std::string& stem) {
    std::string out;
    std::size_t i = 0;
    while (i < stem.size()) {
        const auto lead = static_cast<unsigned char>(stem[i]);
        const std::size_t length = lead < 0x80             ? 1
                                   : (lead & 0xE0) == 0xC0 ? 2
                                   : (lead & 0xF0) == 0xE0 ? 3
                                   : (lead & 0xF8) == 0xF0 ? 4
                                                           : 0;
        bool valid = length > 0 && i + length <= stem.size();
        char32_t codePoint = length == 1   ? lead
                             : length == 2 ? lead & 0x1F
                             : length == 3 ? lead & 0x0F
                                           : lead & 0x07;
        for (std::size_t k = 1; valid && k < length; ++k) {
            const auto next = static_cast<unsigned char>(stem[i + k]);
            valid = (next & 0xC0) == 0x80;
            codePoint = codePoint << 6 | (next & 0x3F);
        }
        if (valid && isAlphanumeric(codePoint))
            out.append(stem, i, length);
        else
            out.push_back('_');
        i += valid ? length : 1;
    }
    return out;
}

std::string blanksAsUnderscores(std::string_view text) {
    std::string out(text);
    std::replace(out.begin(), out.end(), ' ', '_');
    return out;
}

SRCRenderError fileError(SRCRenderErrorCode code, const std::string& message) {
    return {"SRCRenderer", code, message};
}

// Widens each channel of the block to doubles and runs its converter, one task per channel, all at once;
// returns when every channel is done. An exception of any task is rethrown here.
void convertChannels(const AudioBuffer& block, std::size_t frames,
                     std::vector<std::unique_ptr<StreamingResampler>>& resamplers,
                     std::vector<std::vector<double>>& inputs, std::vector<std::vector<double>>& results) {
    const int channels = static_cast<int>(resamplers.size());
    std::vector<std::exception_ptr> failures(resamplers.size());
    auto convertOne = [&](int ch) {
        try {
            const float* samples = block.channel(ch);
            inputs[ch].assign(samples, samples + frames);
            results[ch] = resamplers[ch]->processBlock(inputs[ch]);
        } catch (...) {
            failures[ch] = std::current_exception();
        }
    };
    std::vector<std::thread> workers;
    workers.reserve(static_cast<std::size_t>(std::max(0, channels - 1)));
    for (int ch = 1; ch < channels; ++ch)
        workers.emplace_back(convertOne, ch);
    if (channels > 0)
        convertOne(0);
    for (std::thread& worker : workers)
        worker.join();
    for (const std::exception_ptr& failure : failures)
        if (failure)
            std::rethrow_exception(failure);
}

// Writes the channels' results as one float buffer of channel 0's length; nothing when that is 0.
// Samples are narrowed as they are: nothing limits or dithers them.
void writeOut(AudioFileWriter& writer, const std::vector<std::vector<double>>& results, int targetSR) {
    if (results.empty() || results[0].empty())
        return;
    const std::size_t n = results[0].size();
    AudioBuffer buffer(targetSR, static_cast<int>(results.size()), n);
    for (std::size_t ch = 0; ch < results.size(); ++ch) {
        float* out = buffer.channel(static_cast<int>(ch));
        const std::size_t available = std::min(n, results[ch].size());
        for (std::size_t i = 0; i < available; ++i)
            out[i] = static_cast<float>(results[ch][i]);
    }
    buffer.setFrameLength(n);
    if (auto written = writer.write(buffer); !written)
        throw fileError(SRCRenderErrorCode::writeFailed, written.error().message);
}

void removeQuietly(const fs::path& file) {
    std::error_code ignored; // the first error is the one that counts; a leftover is cleared with the cache
    fs::remove(file, ignored);
}

// Moves the finished temporary file to the entry's name without ever replacing an entry: if another run
// got there first, its entry stands and the temporary file goes.
void moveIntoPlace(const fs::path& temporary, const fs::path& entry) {
    std::error_code ec;
    if (fs::exists(entry, ec)) {
        removeQuietly(temporary);
        return;
    }
    if (::renameat2(AT_FDCWD, temporary.c_str(), AT_FDCWD, entry.c_str(), RENAME_NOREPLACE) == 0)
        return;
    int error = errno;
    if (error == EINVAL || error == ENOSYS) { // a file system without no-replace renames
        fs::rename(temporary, entry, ec);
        if (!ec)
            return;
        error = ec.value();
    }
    removeQuietly(temporary);
    if (fs::exists(entry, ec))
        return;
    throw fileError(SRCRenderErrorCode::writeFailed,
                    "Could not move the converted file into the SRC cache: " +
                        std::string(std::strerror(error)));
}

// Steps 6 to 11 of a render: converts the open source into the temporary file, or throws.
void convertInto(AudioFileReader& reader, const fs::path& temporary, int targetSR,
                 std::vector<std::unique_ptr<StreamingResampler>>& resamplers) {
    const int channels = static_cast<int>(resamplers.size());
    const AudioWriteSettings settings{AudioContainer::wav, AudioSampleFormat::float32,
                                      static_cast<double>(targetSR), channels};
    auto writer = AudioFileWriter::open(temporary, settings);
    if (!writer)
        throw fileError(SRCRenderErrorCode::writeFailed, writer.error().message);
    AudioBuffer block = reader.makeBuffer(kBlockFrames);
    std::vector<std::vector<double>> inputs(resamplers.size());
    std::vector<std::vector<double>> results(resamplers.size());
    while (reader.framePosition() < reader.lengthFrames()) {
        const auto got = reader.read(block);
        if (!got)
            throw fileError(SRCRenderErrorCode::readFailed, got.error().message);
        if (*got == 0)
            break;
        convertChannels(block, *got, resamplers, inputs, results);
        writeOut(*writer, results, targetSR);
    }
    for (int ch = 0; ch < channels; ++ch)
        results[ch] = resamplers[ch]->flush();
    for (const auto& resampler : resamplers)
        if (const auto error = resampler->renderError())
            throw fileError(SRCRenderErrorCode::converterFailed, error->message);
    writeOut(*writer, results, targetSR);
    if (auto finished = writer->finish(); !finished)
        throw fileError(SRCRenderErrorCode::writeFailed, finished.error().message);
}

} // namespace

fs::path cacheDirectory() {
    fs::path folder;
    {
        std::lock_guard lock(cacheFolderMutex());
        folder = cacheFolderOverride().value_or(defaultCacheRoot() / kCacheSubfolder);
    }
    std::error_code ignored; // a folder that cannot be made shows up as a failure to write the entry
    fs::create_directories(folder, ignored);
    return folder;
}

void overrideCacheDirectory(std::optional<fs::path> folder) {
    std::lock_guard lock(cacheFolderMutex());
    cacheFolderOverride() = std::move(folder);
}

std::int64_t modificationSeconds(const fs::path& file) {
    struct stat attributes {};
    if (::stat(file.c_str(), &attributes) != 0)
        return 0;
    return static_cast<std::int64_t>(attributes.st_mtim.tv_sec);
}

std::string cacheFileName(const fs::path& source, std::string_view algorithm, std::string_view phase,
                          std::int64_t modificationSeconds, int sourceRate, int targetRate) {
    std::string name = sanitizedStem(source.stem().string());
    name.append("-").append(blanksAsUnderscores(algorithm));
    if (algorithm == rawValue(SRCPreset::meridonReference))
        name.append("-r2"); // the design changed once; entries of the first one must not be taken
    name.append("-").append(blanksAsUnderscores(phase));
    name.append("-").append(std::to_string(modificationSeconds));
    name.append("-").append(std::to_string(sourceRate));
    if (targetRate != diskSampleRate)
        name.append("-to").append(std::to_string(targetRate));
    return name.append(".wav");
}

fs::path cacheURL(const fs::path& source, int sourceRate, int targetRate, std::string_view algorithm,
                  std::string_view phase) {
    return cacheDirectory() /
           cacheFileName(source, algorithm, phase, modificationSeconds(source), sourceRate, targetRate);
}

std::string effectiveAlgorithm(const std::optional<std::string>& own, std::string_view masterSRC) {
    return own ? *own : std::string(masterSRC);
}

std::string effectivePhase(const std::optional<std::string>& own, std::string_view masterPhase) {
    return own ? *own : std::string(masterPhase);
}

bool needsSRC(const fs::path& source) {
    const auto rate = roundedRate(source);
    return rate && *rate != diskSampleRate;
}

SRCStatus srcStatus(const fs::path& source, std::string_view algorithm, std::string_view phase) {
    const auto rate = roundedRate(source);
    if (!rate || *rate == diskSampleRate)
        return {};
    std::error_code ec;
    const bool cached =
        fs::exists(cacheURL(source, static_cast<int>(*rate), diskSampleRate, algorithm, phase), ec);
    return {true, cached};
}

fs::path waveformURL(const fs::path& source, std::string_view algorithm, std::string_view phase) {
    const auto rate = roundedRate(source);
    if (!rate || *rate == diskSampleRate)
        return source;
    const fs::path entry = cacheURL(source, static_cast<int>(*rate), diskSampleRate, algorithm, phase);
    std::error_code ec;
    return fs::exists(entry, ec) ? entry : source;
}

std::optional<fs::path> playbackURL(const CDTrack& track, std::string_view masterSRC,
                                    std::string_view masterPhase) {
    if (!track.audioFileURL)
        return std::nullopt;
    return waveformURL(track.audioFileURL->path(), effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                       effectivePhase(track.srcPhase, masterPhase));
}

bool ensureCache(const fs::path& source, std::string_view algorithm, std::string_view phase) {
    const auto rate = roundedRate(source);
    if (!rate || *rate == diskSampleRate)
        return false;
    std::error_code ec;
    if (fs::exists(cacheURL(source, static_cast<int>(*rate), diskSampleRate, algorithm, phase), ec))
        return false;
    try {
        const auto reader = AudioFileReader::open(source);
        if (!reader)
            return false;
        renderCache(source, reader->sampleRate(), diskSampleRate, algorithm, phase);
        return true;
    } catch (...) {
        return false; // the entry stays missing and the indicator says so
    }
}

std::optional<fs::path> resolve(const CDTrack& track, int targetSR, std::string_view masterSRC,
                                std::string_view masterPhase) {
    if (!track.audioFileURL)
        return std::nullopt;
    const fs::path source = track.audioFileURL->path();
    double sourceSR = 0.0;
    {
        const auto reader = AudioFileReader::open(source);
        if (!reader)
            return source;
        sourceSR = reader->sampleRate();
    }
    if (std::lround(sourceSR) == targetSR)
        return source;
    return renderCache(source, sourceSR, targetSR, effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                       effectivePhase(track.srcPhase, masterPhase));
}

fs::path renderCache(const fs::path& source, double sourceSR, int targetSR, std::string_view algorithm,
                     std::string_view phase) {
    const int fsIn = static_cast<int>(std::lround(sourceSR));
    const fs::path entry = cacheURL(source, fsIn, targetSR, algorithm, phase);
    std::error_code ec;
    if (fs::exists(entry, ec))
        return entry;
    const fs::path temporary = entry.parent_path() / (std::string(tmpPrefix) + Uuid::random().string() + "-" +
                                                      entry.filename().string());
    const SRCPreset preset = srcPresetForConversion(algorithm);
    const bool minPhase = phase == "Minimum";

    auto reader = AudioFileReader::open(source);
    if (!reader)
        throw fileError(SRCRenderErrorCode::openFailed, reader.error().message);
    std::vector<std::unique_ptr<StreamingResampler>> resamplers;
    for (int ch = 0; ch < reader->channelCount(); ++ch) {
        auto made = ResamplerFactory::make(preset, fsIn, targetSR, minPhase);
        if (!made)
            throw fileError(SRCRenderErrorCode::converterFailed, made.error().message);
        resamplers.push_back(std::move(*made));
    }
    try {
        convertInto(*reader, temporary, targetSR, resamplers);
    } catch (const SRCRenderError&) {
        removeQuietly(temporary);
        throw;
    } catch (const std::exception& e) {
        removeQuietly(temporary);
        throw fileError(SRCRenderErrorCode::writeFailed, e.what());
    }
    moveIntoPlace(temporary, entry);
    return entry;
}

bool projectNeedsSRC(const CDProject& project) {
    return std::any_of(project.tracks.begin(), project.tracks.end(), [](const CDTrack& track) {
        return track.audioFileURL && needsSRC(track.audioFileURL->path());
    });
}

std::uint64_t cacheSizeBytes() {
    std::uint64_t total = 0;
    std::error_code ec;
    for (fs::directory_iterator it(cacheDirectory(), ec), end; !ec && it != end; it.increment(ec)) {
        std::error_code sizeError;
        const auto size = it->is_regular_file(sizeError) ? it->file_size(sizeError) : 0;
        if (!sizeError)
            total += size;
    }
    return ec ? 0 : total;
}

void clearCache() {
    const fs::path folder = cacheDirectory();
    std::error_code ignored; // a cache that cannot be cleared stays as it is; nothing depends on it
    fs::remove_all(folder, ignored);
    fs::create_directories(folder, ignored);
}

void clearVersionCaches(const CDProject& project, std::string_view masterSRC, std::string_view masterPhase) {
    std::unordered_set<std::string> keep;
    for (const CDTrack& track : project.tracks) {
        if (!track.audioFileURL)
            continue;
        const fs::path source = track.audioFileURL->path();
        if (const auto rate = roundedRate(source))
            keep.insert(cacheFileName(source, effectiveAlgorithm(track.srcAlgorithm, masterSRC),
                                      effectivePhase(track.srcPhase, masterPhase),
                                      modificationSeconds(source), static_cast<int>(*rate), diskSampleRate));
    }
    std::error_code ec;
    std::vector<fs::path> doomed;
    for (fs::directory_iterator it(cacheDirectory(), ec), end; !ec && it != end; it.increment(ec))
        if (!keep.contains(it->path().filename().string()))
            doomed.push_back(it->path());
    for (const fs::path& file : doomed) {
        std::error_code ignored; // what cannot be deleted now is deleted by the next clear
        fs::remove_all(file, ignored);
    }
}

} // namespace orvane::SRCRenderer
