#include "cli/DdpImportJob.h"

#include <system_error>

namespace orvane::cli {

namespace fs = std::filesystem;

tl::expected<DdpImportResult, DdpImportFailure> importFileset(const DdpImportRequest& request,
                                                              const DDPReader::ImportProgress& progress) {
    const fs::path fileset = absoluteNormal(request.fileset);
    const fs::path projectPath = absoluteNormal(request.projectPath);
    std::error_code ec;
    if (!fs::is_directory(fileset, ec))
        return tl::unexpected(ImportFailure{false, fileset.string() + " is not a folder."});
    const fs::path audioDir =
        request.audioDir ? absoluteNormal(*request.audioDir)
                         : DDPReader::freeAudioFolder(projectPath.parent_path(), fileset.filename().string());
    return importIntoDocument(projectPath, audioDir, importPartialPrefix,
                              [&](const fs::path& staging) -> tl::expected<CDProject, ImportFailure> {
                                  auto imported = DDPReader::importDDP(fileset, staging, progress);
                                  if (!imported)
                                      return tl::unexpected(ImportFailure{
                                          imported.error().isCancel(),
                                          imported.error().isCancel() ? "" : imported.error().message()});
                                  return std::move(*imported);
                              });
}

} // namespace orvane::cli
