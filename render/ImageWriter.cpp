// The image's quantiser, digest and writer threads, joined by small rings.

#include "render/ImageWriter.h"

#include "render/detail/DigestHex.h"

#include <fcntl.h>
#include <openssl/evp.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <new>
#include <string_view>
#include <utility>

namespace orvane {

namespace {

// Chunks queued between the render and the quantiser: the render may run this far ahead. Each ring
// wakes a waiting side only when half of it is ready, so that two threads of about the same speed
// do not take turns sleeping on every slot; an export switches threads less than half as often.
constexpr std::size_t chunkSlots = 8;
// Blocks between the quantiser and the next stage: the digest where there is one, as it is the slowest
// and should never wait for the render or the disk; then between the digest and the writer.
constexpr std::size_t blockSlots = 6;
constexpr std::size_t digestedSlots = 6;
// Direct writes must start, end and sit in memory on the device's block boundaries; this is a multiple
// of every block size in use.
constexpr std::size_t alignment = 4096;
// A block holds whole frames and whole device blocks, so that only the image's last block is short.
constexpr std::size_t blockBytes = std::size_t{1} << 20;

// Turns direct writes on for fd; false where the file system does not have them.
bool enterDirect(int fd) noexcept {
    const int flags = ::fcntl(fd, F_GETFL);
    return flags >= 0 && ::fcntl(fd, F_SETFL, flags | O_DIRECT) == 0;
}

void leaveDirect(int fd) noexcept {
    const int flags = ::fcntl(fd, F_GETFL);
    if (flags >= 0)
        ::fcntl(fd, F_SETFL, flags & ~O_DIRECT);
}

} // namespace

void ImageWriter::Block::Free::operator()(char* p) const noexcept {
    ::operator delete[](p, std::align_val_t{alignment});
}

struct ImageWriter::Digest {
    std::unique_ptr<EVP_MD_CTX, void (*)(EVP_MD_CTX*)> context{EVP_MD_CTX_new(), EVP_MD_CTX_free};
};

ImageWriter::ImageWriter(int fd, std::string fileName, DitherType masterDither, Exporter::ImageDigest digest)
    : fd_(fd), fileName_(std::move(fileName)), masterDither_(masterDither),
      chunks_(chunkSlots, chunkSlots / 2), bytes_(blockSlots, blockSlots / 2),
      digested_(digestedSlots, digestedSlots / 2) {
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
    digested_.stop();
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
    digested_.stop();
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
        Block* out = nullptr;
        while (Pending* pending = chunks_.nextToTake()) {
            const auto* silence = std::get_if<RenderChunk::Silence>(&pending->chunk.value);
            const AudioBuffer* audio =
                silence ? nullptr : &std::get<RenderChunk::Audio>(pending->chunk.value).buffer;
            const std::size_t frameBytes = audio ? static_cast<std::size_t>(audio->channelCount()) * 2 : 4;
            const std::size_t frames =
                audio ? audio->frameLength()
                      : static_cast<std::size_t>(std::max<std::int64_t>(silence->samples, 0));
            // A chunk fills the block and goes on in the next one.
            for (std::size_t done = 0; done < frames;) {
                if (out == nullptr) {
                    out = bytes_.slotToFill();
                    if (out == nullptr)
                        return;
                    if (!out->data)
                        out->data.reset(
                            static_cast<char*>(::operator new[](blockBytes, std::align_val_t{alignment})));
                    out->size = 0;
                }
                const std::size_t room = (blockBytes - out->size) / frameBytes;
                const std::size_t n = std::min(frames - done, room);
                char* at = out->data.get() + out->size;
                if (audio)
                    quantizer.quantize(*audio, done, n, pending->dither, at);
                else
                    std::memset(at, 0, n * frameBytes);
                out->size += n * frameBytes;
                done += n;
                if (blockBytes - out->size < frameBytes) {
                    bytes_.publish();
                    out = nullptr;
                }
            }
            chunks_.taken();
        }
        if (out != nullptr)
            bytes_.publish();
        bytes_.close();
    } catch (...) {
        fail(std::current_exception());
    }
}

void ImageWriter::digestAll() noexcept {
    while (Block* block = bytes_.nextToTake()) {
        EVP_DigestUpdate(digest_->context.get(), block->data.get(), block->size);
        // The writer gets these bytes; this slot gets back a block it has finished.
        Block* next = digested_.slotToFill();
        if (next == nullptr)
            return;
        std::swap(*next, *block);
        digested_.publish();
        bytes_.taken();
    }
    digested_.close();
}

void ImageWriter::writeAll() noexcept {
    try {
        detail::HandOff<Block>& input = digest_ ? digested_ : bytes_;
        bool direct = enterDirect(fd_);
        while (Block* block = input.nextToTake()) {
            writeBytes(block->data.get(), block->size, direct);
            input.taken();
        }
        if (direct)
            leaveDirect(fd_);
    } catch (...) {
        fail(std::current_exception());
    }
}

// Writes all of `bytes`, looping over partial writes. A write that cannot go direct (a short block, an
// offset off the device's blocks after a short write, a file system that takes the flag but not the
// write) leaves direct mode for good and goes through the cache.
void ImageWriter::writeBytes(const char* bytes, std::size_t size, bool& direct) {
    while (size > 0) {
        if (direct && size % alignment != 0) {
            leaveDirect(fd_);
            direct = false;
        }
        const ssize_t n = ::write(fd_, bytes, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0 && errno == EINVAL && direct) {
            leaveDirect(fd_);
            direct = false;
            continue;
        }
        if (n <= 0) {
            const std::string reason = n < 0 && errno != 0
                                           ? std::string(std::strerror(errno))
                                           : "no space left on device or the volume was disconnected";
            throw ExportError{"Exporter", ExportErrorCode::writeFailed,
                              "Writing " + fileName_ + " failed: " + reason, std::nullopt};
        }
        bytes += n;
        size -= static_cast<std::size_t>(n);
    }
}

} // namespace orvane
