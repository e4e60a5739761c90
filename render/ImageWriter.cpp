// The image's quantiser and writer threads, joined by two small rings.

#include "render/ImageWriter.h"

#include "render/detail/DigestHex.h"

#include <openssl/evp.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <string_view>
#include <utility>

namespace orvane {

namespace {

// Chunks queued between the render and the quantiser: the render may run this far ahead.
constexpr std::size_t chunkSlots = 4;
// Byte buffers between the quantiser and the writer, each filled to at least handOverBytes before it
// goes out (about four chunks), so that the writer wakes and calls write() less often.
constexpr std::size_t byteSlots = 3;
constexpr std::size_t handOverBytes = std::size_t{448} << 10;

} // namespace

struct ImageWriter::Digest {
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

ImageWriter::ImageWriter(int fd, std::string fileName, DitherType masterDither, Exporter::ImageDigest digest)
    : fd_(fd), fileName_(std::move(fileName)), masterDither_(masterDither), chunks_(chunkSlots, 2),
      bytes_(byteSlots, 1), written_(byteSlots, 1) {
    if (digest == Exporter::ImageDigest::md5) {
        digest_ = std::make_unique<Digest>();
        if (!digest_->context || EVP_DigestInit_ex(digest_->context.get(), EVP_md5(), nullptr) != 1)
            throw ExportError{"Exporter", ExportErrorCode::writeFailed,
                              "Writing " + fileName_ + " failed: MD5 is not available", std::nullopt};
    }
    try {
        if (digest_)
            digester_ = std::thread([this] { digestAll(); });
        writer_ = std::thread([this] { writeAll(); });
        quantiser_ = std::thread([this] { quantiseAll(); });
    } catch (...) {
        stopAndJoin();
        throw;
    }
}

ImageWriter::~ImageWriter() {
    stopAndJoin();
}

void ImageWriter::stopAndJoin() noexcept {
    chunks_.stop();
    bytes_.stop();
    written_.stop();
    for (std::thread* t : {&quantiser_, &writer_, &digester_})
        if (t->joinable())
            t->join();
}

std::int64_t ImageWriter::put(RenderChunk& chunk) {
    Pending* slot = chunks_.slotToFill();
    if (slot == nullptr)
        rethrowFailure();
    std::int64_t bytes = 0;
    if (const auto* silence = std::get_if<RenderChunk::Silence>(&chunk.value)) {
        bytes = silence->samples * 4;
        slot->dither = DitherType::none;
    } else {
        const auto& audio = std::get<RenderChunk::Audio>(chunk.value);
        bytes = static_cast<std::int64_t>(audio.buffer.frameLength()) * audio.buffer.channelCount() * 2;
        slot->dither = audio.dither ? masterDither_ : DitherType::none;
    }
    slot->chunk = std::move(chunk);
    chunks_.publish();
    return bytes;
}

std::string ImageWriter::finish() {
    chunks_.close();
    for (std::thread* t : {&quantiser_, &writer_, &digester_})
        if (t->joinable())
            t->join();
    if (failure_)
        rethrowFailure();
    if (!digest_)
        return {};
    return detail::finishDigestHex(digest_->context.get());
}

void ImageWriter::fail(std::exception_ptr failure) noexcept {
    {
        const std::lock_guard lock(failureMutex_);
        if (!failure_)
            failure_ = std::move(failure);
    }
    chunks_.stop();
    bytes_.stop();
    written_.stop();
}

void ImageWriter::rethrowFailure() {
    std::exception_ptr failure;
    {
        const std::lock_guard lock(failureMutex_);
        failure = failure_;
    }
    // Only a failure stops the rings while the render still runs; the fallback is for safety alone.
    if (!failure)
        throw ExportError{"Exporter", ExportErrorCode::writeFailed,
                          "Writing " + fileName_ + " failed: stopped", std::nullopt};
    std::rethrow_exception(failure);
}

void ImageWriter::quantiseAll() noexcept {
    try {
        Exporter::Quantizer quantizer;
        std::string* out = nullptr;
        while (Pending* pending = chunks_.nextToTake()) {
            if (out == nullptr) {
                out = bytes_.slotToFill();
                if (out == nullptr)
                    return;
                out->clear();
            }
            if (const auto* silence = std::get_if<RenderChunk::Silence>(&pending->chunk.value))
                out->append(static_cast<std::size_t>(silence->samples) * 4, '\0');
            else
                quantizer.quantize(std::get<RenderChunk::Audio>(pending->chunk.value).buffer, pending->dither,
                                   *out);
            chunks_.taken();
            if (out->size() >= handOverBytes) {
                bytes_.publish();
                out = nullptr;
            }
        }
        if (out != nullptr)
            bytes_.publish();
        bytes_.close();
    } catch (...) {
        fail(std::current_exception());
    }
}

void ImageWriter::writeAll() noexcept {
    try {
        while (std::string* bytes = bytes_.nextToTake()) {
            writeBytes(*bytes);
            if (digest_) {
                // The digest thread gets these bytes; this slot gets back a buffer it has finished.
                std::string* next = written_.slotToFill();
                if (next == nullptr)
                    return;
                std::swap(*next, *bytes);
                written_.publish();
            }
            bytes_.taken();
        }
        written_.close();
    } catch (...) {
        fail(std::current_exception());
    }
}

void ImageWriter::digestAll() noexcept {
    while (const std::string* bytes = written_.nextToTake()) {
        EVP_DigestUpdate(digest_->context.get(), bytes->data(), bytes->size());
        written_.taken();
    }
}

// Writes all of `bytes`, looping over partial writes.
void ImageWriter::writeBytes(const std::string& bytes) {
    std::string_view rest(bytes);
    while (!rest.empty()) {
        const ssize_t n = ::write(fd_, rest.data(), rest.size());
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0) {
            const std::string reason = n < 0 && errno != 0
                                           ? std::string(std::strerror(errno))
                                           : "no space left on device or the volume was disconnected";
            throw ExportError{"Exporter", ExportErrorCode::writeFailed,
                              "Writing " + fileName_ + " failed: " + reason, std::nullopt};
        }
        rest.remove_prefix(static_cast<std::size_t>(n));
    }
}

} // namespace orvane
