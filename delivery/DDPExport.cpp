// The DDP export: streams, image and checksums in a partial folder, then one move into the target.

#include "delivery/DDPExport.h"

#include "delivery/CDTextEncoder.h"
#include "delivery/DDPWriter.h"
#include "model/Uuid.h"
#include "platform/AtomicFile.h"

#include <fstream>
#include <system_error>

namespace orvane::Exporter {

namespace {

namespace fs = std::filesystem;

[[noreturn]] void fail(ExportErrorCode code, std::string message) {
    throw ExportError{"Exporter", code, std::move(message), std::nullopt};
}

void writeFile(const fs::path& folder, std::string_view name, std::string_view bytes) {
    const fs::path file = folder / std::string(name);
    std::ofstream out(file, std::ios::binary | std::ios::trunc);
    if (out)
        out.write(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (out)
        out.close();
    if (!out)
        fail(ExportErrorCode::writeFailed, "Writing " + std::string(name) + " failed: " +
                                               std::error_code(errno, std::generic_category()).message());
}

// Everything up to the move, inside the partial folder.
void buildFileset(const CDProject& project, const std::vector<TrackPosition>& positions,
                  const fs::path& partial, const std::vector<ExtraFile>& extraFiles,
                  const StatusProgress& progress) {
    const std::string pq = DDPWriter::pqDescrData(project, positions);
    writeFile(partial, DDPWriter::pqFileName, pq);

    const auto counts = DDPWriter::cdTextBlockPackCounts(project);
    for (std::size_t block = 0; block < counts.size(); ++block) {
        if (counts[block] > 252)
            fail(ExportErrorCode::cdTextTooLong,
                 std::string(block == 0 ? "CD-Text" : "CD-Text (2nd language)") +
                     " is too long: " + std::to_string(counts[block]) +
                     " packs (maximum 252). Shorten titles, performers or other "
                     "CD-Text fields.");
    }
    const auto cdText = DDPWriter::cdTextData(project);
    if (cdText)
        writeFile(partial, DDPWriter::cdTextFileName, *cdText);

    const std::optional<std::int64_t> cdTextLength =
        cdText ? std::optional<std::int64_t>(static_cast<std::int64_t>(cdText->size())) : std::nullopt;
    writeFile(partial, DDPWriter::ddpMsFileName,
              DDPWriter::ddpmsData(positions.back().endLBA, positions.front().index01LBA,
                                   static_cast<std::int64_t>(pq.size()), cdTextLength));
    writeFile(partial, DDPWriter::ddpIdFileName, DDPWriter::ddpidData(project));
    for (const auto& [name, bytes] : extraFiles)
        writeFile(partial, name, bytes);
    writeFile(partial, DDPWriter::cueFileName, DDPWriter::imageCueText(project, positions));

    const double share = prerenderSRC(project, positions.back().endLBA, imageSampleRate, progress);
    // The image's MD5 is taken as its bytes go out, sparing a second read of the largest file.
    const std::string imageMD5 = writeImage(
        project, positions, partial / std::string(DDPWriter::audioFileName),
        [&](double f) { return !progress || progress(share + (1.0 - share) * f, "Writing IMAGE.DAT\u2026"); },
        ImageDigest::md5);
    if (progress)
        progress(1.0, "Finalizing\u2026");

    std::vector<std::string> extraNames;
    for (const auto& extra : extraFiles)
        extraNames.push_back(extra.first);
    std::vector<DDPWriter::ChecksumEntry> entries;
    for (const std::string& name : DDPWriter::checksumFileNames(extraNames)) {
        std::error_code ec;
        if (!fs::is_regular_file(partial / name, ec))
            continue;
        entries.push_back({name, name == DDPWriter::audioFileName ? imageMD5 : md5Hex(partial / name)});
    }
    if (auto written = AtomicFile::write(partial / std::string(DDPWriter::checksumFileName),
                                         DDPWriter::checksumText(entries));
        !written)
        fail(ExportErrorCode::writeFailed, "Writing checksum.md5 failed: " + written.error());
}

// Moves every entry of the partial folder into the target, replacing what has the same name.
void moveIntoPlace(const fs::path& partial, const fs::path& target) {
    for (const auto& entry : fs::directory_iterator(partial)) {
        const fs::path destination = target / entry.path().filename();
        std::error_code ec;
        if (fs::exists(fs::symlink_status(destination, ec)))
            fs::remove_all(destination, ec);
        fs::rename(entry.path(), destination, ec);
        if (ec)
            fail(ExportErrorCode::writeFailed,
                 "Writing " + entry.path().filename().string() + " failed: " + ec.message());
    }
}

} // namespace

void exportDDP(const CDProject& project, const std::vector<TrackPosition>& positions,
               const fs::path& targetDirectory, const std::vector<ExtraFile>& extraFiles,
               const StatusProgress& progress) {
    if (positions.empty())
        fail(ExportErrorCode::noTracks, "Project contains no tracks to export.");
    const fs::path partial = targetDirectory / (std::string(partialFolderPrefix) + Uuid::random().string());
    std::error_code ec;
    // Folders this export makes are taken away again if it fails, deepest first.
    std::vector<fs::path> made;
    for (fs::path p = targetDirectory; !p.empty() && !fs::exists(p, ec); p = p.parent_path()) {
        made.push_back(p);
        if (p == p.parent_path())
            break;
    }
    auto removeMade = [&] {
        for (const fs::path& p : made)
            fs::remove(p, ec); // only while empty
    };
    fs::create_directories(partial, ec);
    if (ec)
        removeMade();
    if (ec)
        fail(ExportErrorCode::writeFailed,
             "Writing " + partial.filename().string() + " failed: " + ec.message());
    try {
        buildFileset(project, positions, partial, extraFiles, progress);
        moveIntoPlace(partial, targetDirectory);
    } catch (...) {
        fs::remove_all(partial, ec);
        removeMade();
        throw;
    }
    fs::remove_all(partial, ec);
}

} // namespace orvane::Exporter
