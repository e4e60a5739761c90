#pragma once
// MD5 of bytes and of files, for checksum.md5 and its verification. One MD5Digest per stream of
// bytes; it is not shared between threads. The free functions are safe on any thread.

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <tl/expected.hpp>

namespace orvane {

class MD5Digest final {
  public:
    // Throws std::runtime_error if the crypto library offers no MD5 (a FIPS-only build).
    MD5Digest();
    ~MD5Digest();
    MD5Digest(const MD5Digest&) = delete;
    MD5Digest& operator=(const MD5Digest&) = delete;

    void update(std::string_view bytes);
    // The 32 lower-case hexadecimal digits of everything given so far; the digest then starts over.
    std::string finishHex();

  private:
    struct Context;
    std::unique_ptr<Context> context_;
};

// Lower-case hexadecimal MD5 of the bytes.
std::string md5Hex(std::string_view bytes);

// Called after each block with the bytes hashed so far; false stops the hash.
using MD5Progress = std::function<bool(std::int64_t bytesDone)>;

enum class MD5FileFailure { unreadable, cancelled };

struct MD5FileError {
    MD5FileFailure failure = MD5FileFailure::unreadable;
    std::string reason; // the system's text for an unreadable file, "" when cancelled
};

// Lower-case hexadecimal MD5 of a file, read in blocks of 1 MiB so memory stays constant.
tl::expected<std::string, MD5FileError> md5HexOfFile(const std::filesystem::path& file,
                                                     const MD5Progress& progress = {});

} // namespace orvane
