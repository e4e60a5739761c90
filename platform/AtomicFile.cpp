#include "platform/AtomicFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <random>
#include <system_error>

namespace orvane::AtomicFile {

namespace {

std::string reasonOf(int error) {
    std::string text = std::error_code(error, std::generic_category()).message();
    if (!text.empty() && text.back() != '.')
        text.push_back('.');
    return text;
}

std::string quoted(const std::filesystem::path& path) {
    return "\u201C" + path.filename().string() + "\u201D";
}

std::string writeFailure(const std::filesystem::path& target, int error) {
    return "Could not write " + quoted(target) + ": " + reasonOf(error);
}

// A fresh name beside the target, hidden, so that a crash between write and rename leaves only an
// ignorable dot-file.
std::filesystem::path temporaryBeside(const std::filesystem::path& target) {
    static std::atomic<unsigned> counter{0};
    thread_local std::mt19937_64 random{std::random_device{}()};
    const auto folder = target.has_parent_path() ? target.parent_path() : std::filesystem::path{"."};
    const std::string name = "." + target.filename().string() + ".tmp-" + std::to_string(::getpid()) + "-" +
                             std::to_string(counter.fetch_add(1)) + "-" + std::to_string(random() % 1000000);
    return folder / name;
}

bool writeAll(int fd, std::string_view bytes) {
    const char* data = bytes.data();
    std::size_t left = bytes.size();
    while (left > 0) {
        const ssize_t written = ::write(fd, data, left);
        if (written < 0) {
            if (errno == EINTR)
                continue;
            return false;
        }
        data += written;
        left -= static_cast<std::size_t>(written);
    }
    return true;
}

// Makes the rename itself durable; a folder that can't be synced is no reason to fail the write.
void syncFolder(const std::filesystem::path& target) {
    const auto folder = target.has_parent_path() ? target.parent_path() : std::filesystem::path{"."};
    const int fd = ::open(folder.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd >= 0) {
        ::fsync(fd);
        ::close(fd);
    }
}

} // namespace

tl::expected<void, std::string> write(const std::filesystem::path& target, std::string_view bytes) {
    if (target.empty() || !target.has_filename())
        return tl::make_unexpected(std::string{"Could not write the file: no file name was given."});

    struct stat existing {};
    const bool targetExists = ::stat(target.c_str(), &existing) == 0;
    if (targetExists && S_ISDIR(existing.st_mode))
        return tl::make_unexpected(writeFailure(target, EISDIR));

    std::filesystem::path temporary;
    int fd = -1;
    for (int attempt = 0; attempt < 16 && fd < 0; ++attempt) {
        temporary = temporaryBeside(target);
        fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
        if (fd < 0 && errno != EEXIST)
            break;
    }
    if (fd < 0)
        return tl::make_unexpected(writeFailure(target, errno));

    // A replaced file keeps its permissions; a new one gets the umask's.
    if (targetExists)
        ::fchmod(fd, existing.st_mode & 07777);

    int error = 0;
    if (!writeAll(fd, bytes) || ::fsync(fd) != 0)
        error = errno;
    if (::close(fd) != 0 && error == 0)
        error = errno;
    if (error == 0 && ::rename(temporary.c_str(), target.c_str()) != 0)
        error = errno;
    if (error != 0) {
        ::unlink(temporary.c_str());
        return tl::make_unexpected(writeFailure(target, error));
    }
    syncFolder(target);
    return {};
}

tl::expected<std::string, std::string> read(const std::filesystem::path& source) {
    const auto failure = [&](int error) {
        return tl::make_unexpected("Could not read " + quoted(source) + ": " + reasonOf(error));
    };
    const int fd = ::open(source.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd < 0)
        return failure(errno);
    std::string bytes;
    char buffer[65536];
    for (;;) {
        const ssize_t got = ::read(fd, buffer, sizeof buffer);
        if (got < 0) {
            if (errno == EINTR)
                continue;
            const int error = errno;
            ::close(fd);
            return failure(error);
        }
        if (got == 0)
            break;
        bytes.append(buffer, static_cast<std::size_t>(got));
    }
    ::close(fd);
    return bytes;
}

} // namespace orvane::AtomicFile
