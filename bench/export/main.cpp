// Times the DDP export of a full disc (fades, a crossfade, gain, an envelope, TPDF; image, streams
// and checksums) and the image render alone beside the I/O floor: reading the same sources and
// writing an image of the same size without processing.
// Usage: bench_export [MINUTES] [ROUNDS] (defaults 74 and 5). The cases take turns, ROUNDS times,
// each after a sync so that none pays for the writeback of another's output; the table shows each
// case's fastest round, since other work on a shared machine only ever adds time. After them, as many
// bytes are digested in memory: the image's MD5 is one serial chain, the least time the export can
// take. It is all run twice: with the sources in the page cache, where reading them is a memory copy,
// and with the sources dropped from it before each case, so that they come from the disk as they do
// when an engineer exports an album that was not just played. Data lives in a temporary folder,
// removed at the end.

#include "bench/common/ToneSource.h"
#include "delivery/DDPExport.h"
#include "model/CDTrack.h"
#include "model/FileURL.h"
#include "model/TimelineCalculator.h"
#include "platform/AudioFileReader.h"
#include "platform/AudioFileWriter.h"
#include "render/Exporter.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <sys/resource.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <ctime>
#include <fstream>
#include <string>
#include <vector>

using namespace orvane;
namespace fs = std::filesystem;

namespace {

constexpr int trackCount = 10;
constexpr std::size_t chunkFrames = 29400;

// Reads every source in chunks and writes plain 16-bit samples, padded to the image's size.
void ioFloor(const std::vector<fs::path>& sources, const fs::path& image, std::int64_t imageBytes) {
    std::ofstream out(image, std::ios::binary | std::ios::trunc);
    std::vector<char> bytes;
    std::int64_t written = 0;
    for (const auto& source : sources) {
        auto reader = AudioFileReader::open(source);
        AudioBuffer buffer = reader->makeBuffer(chunkFrames);
        while (reader->read(buffer).value_or(0) > 0) {
            const std::size_t n = buffer.frameLength();
            bytes.resize(n * 4);
            for (std::size_t i = 0; i < n; ++i)
                for (int ch = 0; ch < 2; ++ch) {
                    const auto v = static_cast<std::int16_t>(buffer.channel(ch)[i] * 32767.0f);
                    bytes[i * 4 + ch * 2] = static_cast<char>(v & 0xFF);
                    bytes[i * 4 + ch * 2 + 1] = static_cast<char>((v >> 8) & 0xFF);
                }
            out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
            written += static_cast<std::int64_t>(bytes.size());
        }
    }
    const std::vector<char> zeros(1 << 20, 0);
    while (written < imageBytes) {
        const auto n = std::min<std::int64_t>(imageBytes - written, 1 << 20);
        out.write(zeros.data(), n);
        written += n;
    }
}

// MD5 of `bytes` bytes already in memory, on one core, as the export digests its image: the one part of
// the export that cannot be split between cores, and so the least time the export can take.
void md5InMemory(std::int64_t bytes) {
    const std::vector<unsigned char> block(1 << 20, 0x5A);
    EVP_MD_CTX* context = EVP_MD_CTX_new();
    EVP_DigestInit_ex(context, EVP_md5(), nullptr);
    for (std::int64_t done = 0; done < bytes; done += static_cast<std::int64_t>(block.size()))
        EVP_DigestUpdate(context, block.data(),
                         static_cast<std::size_t>(std::min<std::int64_t>(bytes - done, 1 << 20)));
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, digest, &length);
    EVP_MD_CTX_free(context);
}

template <class F> double seconds(F&& f) {
    const auto start = std::chrono::steady_clock::now();
    f();
    return std::chrono::duration<double>(std::chrono::steady_clock::now() - start).count();
}

double cpuSeconds() {
    timespec t{};
    ::clock_gettime(CLOCK_PROCESS_CPUTIME_ID, &t);
    return static_cast<double>(t.tv_sec) + static_cast<double>(t.tv_nsec) * 1e-9;
}

// Wall and CPU seconds of f; CPU time shows the work itself on a busy machine.
struct Timing {
    double wall = 0;
    double cpu = 0;
};

template <class F> Timing timed(F&& f) {
    const double cpu = cpuSeconds();
    const double wall = seconds(f);
    return {wall, cpuSeconds() - cpu};
}

// Writes back and drops the files' cached pages, so that the next read comes from the disk.
void dropFromCache(const std::vector<fs::path>& files) {
    ::sync();
    for (const auto& file : files) {
        const int fd = ::open(file.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            continue;
        ::posix_fadvise(fd, 0, 0, POSIX_FADV_DONTNEED);
        ::close(fd);
    }
}

double peakRSSMB() {
    rusage usage{};
    ::getrusage(RUSAGE_SELF, &usage);
    return static_cast<double>(usage.ru_maxrss) / 1024.0;
}

} // namespace

int main(int argc, char** argv) {
    const double minutes = argc > 1 ? std::atof(argv[1]) : 74.0;
    const fs::path folder = fs::temp_directory_path() / ("orvane-bench-export-" + std::to_string(::getpid()));
    fs::create_directories(folder);
    const auto trackFrames = static_cast<std::int64_t>(minutes * 60.0 * 44100.0 / trackCount) / 588 * 588;

    CDProject project;
    std::vector<fs::path> sources;
    const double made = seconds([&] {
        for (int k = 0; k < trackCount; ++k) {
            const fs::path file = folder / ("t" + std::to_string(k) + ".wav");
            bench::writeToneSource(file, 44100.0, trackFrames, 220.0 + 40.0 * k);
            sources.push_back(file);
            CDTrack t = CDTrack::make("T" + std::to_string(k), std::nullopt,
                                      k == 0 ? 150 : (k == 5 ? -150 : 75), trackFrames);
            t.audioFileURL = FileURL::fromPath(file);
            t.fadeInSamples = 44100;
            t.fadeOutSamples = 88200;
            t.gainEnabled = k % 2 == 0;
            t.gainDB = -1.5f;
            if (k == 3) {
                t.envelopeEnabled = true;
                t.gainPoints = {GainPoint{Uuid::random(), 0, -3.0f, std::nullopt},
                                GainPoint{Uuid::random(), trackFrames / 2, 0.0f, std::nullopt}};
            }
            project.tracks.push_back(t);
        }
    });
    project.masterDither = "TPDF";
    const auto positions = TimelineCalculator::calculatePositions(project);
    if (!positions) {
        std::fprintf(stderr, "layout failed\n");
        return 1;
    }
    const std::int64_t imageBytes = positions->back().endLBA * 2352;

    const int rounds = argc > 2 ? std::max(1, std::atoi(argv[2])) : 5;
    const double disc = static_cast<double>(positions->back().endLBA) / 75.0;
    std::printf("disc: %.1f min, %d tracks of 44.1 kHz 24-bit, image %.0f MB (sources made in %.1f s); "
                "fastest of %d rounds\n",
                disc / 60.0, trackCount, static_cast<double>(imageBytes) / 1e6, made, rounds);
    const auto measure = [&](bool fromDisk) {
        Timing floor{1e9, 0};
        Timing render{1e9, 0};
        Timing ddp{1e9, 0};
        Timing md5{1e9, 0};
        const auto keepFastest = [](Timing& best, const Timing& t) {
            if (t.wall < best.wall)
                best = t;
        };
        const auto prepare = [&] {
            ::sync();
            if (fromDisk)
                dropFromCache(sources);
        };
        for (int round = 0; round < rounds; ++round) {
            fs::remove(folder / "floor.dat");
            prepare();
            keepFastest(floor, timed([&] { ioFloor(sources, folder / "floor.dat", imageBytes); }));
            fs::remove(folder / "IMAGE.DAT");
            prepare();
            keepFastest(render,
                        timed([&] { Exporter::writeImage(project, *positions, folder / "IMAGE.DAT"); }));
            fs::remove_all(folder / "ddp");
            prepare();
            keepFastest(ddp, timed([&] { Exporter::exportDDP(project, *positions, folder / "ddp", {}); }));
        }
        // After the rounds, so that it puts no pause between the cases that take turns.
        for (int round = 0; round < rounds; ++round)
            keepFastest(md5, timed([&] { md5InMemory(imageBytes); }));
        std::printf("\nsources %s\n",
                    fromDisk ? "read from the disk (dropped from the page cache before each case)"
                             : "in the page cache");
        std::printf("%-46s %8s %8s %11s\n", "case", "wall s", "CPU s", "x realtime");
        const auto row = [&](const char* name, const Timing& t) {
            std::printf("%-46s %8.2f %8.2f %11.1f\n", name, t.wall, t.cpu, disc / t.wall);
        };
        row("I/O floor (read + write, no processing)", floor);
        row("image render (fades, xfade, gain, env, TPDF)", render);
        row("DDP export (the render, streams, checksums)", ddp);
        row("MD5 of the image's bytes, in memory, one core", md5);
        std::printf("image render / floor: %.2f wall, %.2f CPU\n", render.wall / floor.wall,
                    render.cpu / floor.cpu);
        std::printf("DDP export / floor:   %.2f wall, %.2f CPU (target at most 2.00 wall)\n",
                    ddp.wall / floor.wall, ddp.cpu / floor.cpu);
        std::printf("image MD5 alone / floor: %.2f wall (the least the export can take)\n",
                    md5.wall / floor.wall);
    };
    measure(false);
    measure(true);
    std::printf("\n");
    std::printf("peak RSS of the whole run: %.0f MB (target under 200 MB)\n", peakRSSMB());
    // Both roads give the same image; the export's checksum line is the one the fileset carries.
    std::ifstream checksums(folder / "ddp" / "checksum.md5");
    std::string exported;
    for (std::string line; std::getline(checksums, line);)
        if (line.size() > 34 && line.substr(34) == "IMAGE.DAT")
            exported = line.substr(0, 32);
    const std::string rendered = Exporter::md5Hex(folder / "IMAGE.DAT");
    std::printf("image MD5 %s%s (unchanged by speed work on the same sources)\n", rendered.c_str(),
                rendered == exported ? ", the same in the fileset" : ", BUT THE FILESET LISTS ANOTHER");
    fs::remove_all(folder);
    return 0;
}
