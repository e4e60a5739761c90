#include "delivery/MD5Digest.h"

#include <openssl/evp.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <stdexcept>
#include <vector>

namespace orvane {

namespace {

constexpr std::size_t kFileBlockBytes = 1 << 20;

struct FileCloser {
    void operator()(std::FILE* file) const { std::fclose(file); }
};

} // namespace

struct MD5Digest::Context {
    EVP_MD_CTX* ctx = nullptr;
};

MD5Digest::MD5Digest() : context_(std::make_unique<Context>()) {
    context_->ctx = EVP_MD_CTX_new();
    if (context_->ctx == nullptr)
        throw std::bad_alloc();
    if (EVP_DigestInit_ex(context_->ctx, EVP_md5(), nullptr) != 1) {
        EVP_MD_CTX_free(context_->ctx);
        throw std::runtime_error("MD5 is not available in this crypto library");
    }
}

MD5Digest::~MD5Digest() {
    EVP_MD_CTX_free(context_->ctx);
}

void MD5Digest::update(std::string_view bytes) {
    if (!bytes.empty())
        EVP_DigestUpdate(context_->ctx, bytes.data(), bytes.size());
}

std::string MD5Digest::finishHex() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int length = 0;
    EVP_DigestFinal_ex(context_->ctx, digest, &length);
    EVP_DigestInit_ex(context_->ctx, EVP_md5(), nullptr);
    static constexpr char kHex[] = "0123456789abcdef";
    std::string hex;
    for (unsigned int i = 0; i < length; ++i) {
        hex.push_back(kHex[digest[i] >> 4]);
        hex.push_back(kHex[digest[i] & 0x0F]);
    }
    return hex;
}

std::string md5Hex(std::string_view bytes) {
    MD5Digest digest;
    digest.update(bytes);
    return digest.finishHex();
}

tl::expected<std::string, MD5FileError> md5HexOfFile(const std::filesystem::path& file,
                                                     const MD5Progress& progress) {
    std::unique_ptr<std::FILE, FileCloser> stream(std::fopen(file.c_str(), "rb"));
    if (!stream)
        return tl::unexpected(MD5FileError{MD5FileFailure::unreadable, std::strerror(errno)});
    MD5Digest digest;
    std::vector<char> block(kFileBlockBytes);
    std::int64_t done = 0;
    while (true) {
        const std::size_t got = std::fread(block.data(), 1, block.size(), stream.get());
        if (got == 0) {
            if (std::ferror(stream.get()))
                return tl::unexpected(MD5FileError{MD5FileFailure::unreadable, std::strerror(errno)});
            break;
        }
        digest.update(std::string_view(block.data(), got));
        done += static_cast<std::int64_t>(got);
        if (progress && !progress(done))
            return tl::unexpected(MD5FileError{MD5FileFailure::cancelled, {}});
    }
    return digest.finishHex();
}

} // namespace orvane
