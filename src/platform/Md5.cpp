// MD5 with OpenSSL's EVP interface.
#include "platform/Md5.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <memory>
#include <vector>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "platform/FileSystem.h"
#include "platform/ReadMeter.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

// OpenSSL loads its configuration once, on the first digest: a run that hashes nothing never
// pays the two megabytes it costs.
void startCrypto() {
    static const bool started = OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CONFIG, nullptr) == 1;
    (void)started;
}

struct ContextDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, ContextDeleter>;

Context newContext() {
    startCrypto();
    Context context(EVP_MD_CTX_new());
    EVP_DigestInit_ex(context.get(), EVP_md5(), nullptr);
    return context;
}

Md5Digest finish(EVP_MD_CTX* context) {
    Md5Digest digest{};
    unsigned int length = 0;
    EVP_DigestFinal_ex(context, digest.data(), &length);
    return digest;
}

}  // namespace

Md5Digest md5OfBytes(const void* data, std::size_t length) {
    Context context = newContext();
    EVP_DigestUpdate(context.get(), data, length);
    return finish(context.get());
}

// Opens a regular file for reading. O_NONBLOCK: opening a named pipe must not wait for a
// writer; the type check refuses it before any read.
Result<FileHandle> openRegularFile(const std::string& path) {
    auto opened = openPath(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!opened) return opened;
    struct stat st;
    if (::fstat(opened->get(), &st) != 0)
        return Result<FileHandle>::failure(errorDescription(path, errno));
    if (S_ISDIR(st.st_mode)) return Result<FileHandle>::failure(errorDescription(path, EISDIR));
    if (!S_ISREG(st.st_mode))
        return Result<FileHandle>::failure("\"" + path + "\": not a regular file");
    return opened;
}

// Reads into buffer; the number of bytes read, or -1 with errno set.
long readSome(int fd, void* buffer, std::size_t length) {
    for (;;) {
        const ssize_t got = ::read(fd, buffer, length);
        if (got >= 0 || errno != EINTR) return got;
    }
}

Result<Md5Digest> md5OfFile(const std::string& path, const std::atomic<bool>* canceled,
                            std::uint64_t* bytesRead) {
    auto opened = openRegularFile(path);
    if (!opened) return Result<Md5Digest>::failure(opened.error());
    const int fd = opened->get();
    ::posix_fadvise(fd, 0, 0, POSIX_FADV_SEQUENTIAL);
    Context context = newContext();
    thread_local std::vector<unsigned char> buffer(kBufferSize);
    ReadTally tally;
    for (;;) {
        if (canceled != nullptr && canceled->load()) return Result<Md5Digest>::failure("canceled");
        const ssize_t got = readSome(fd, buffer.data(), buffer.size());
        if (got == 0) break;
        if (got < 0) return Result<Md5Digest>::failure(errorDescription(path, errno));
        EVP_DigestUpdate(context.get(), buffer.data(), static_cast<std::size_t>(got));
        tally.add(static_cast<std::uint64_t>(got));
        if (bytesRead != nullptr) *bytesRead += static_cast<std::uint64_t>(got);
    }
    return finish(context.get());
}

Result<std::string> readPrefix(const std::string& path, std::size_t maxBytes,
                               std::uint64_t* fileSize) {
    auto opened = openRegularFile(path);
    if (!opened) return Result<std::string>::failure(opened.error());
    if (fileSize != nullptr) {
        struct stat st;
        *fileSize = ::fstat(opened->get(), &st) == 0 ? static_cast<std::uint64_t>(st.st_size) : 0;
    }
    std::string bytes(maxBytes, '\0');
    std::size_t have = 0;
    while (have < maxBytes) {
        const ssize_t got = readSome(opened->get(), bytes.data() + have, maxBytes - have);
        if (got < 0) return Result<std::string>::failure(errorDescription(path, errno));
        if (got == 0) break;
        have += static_cast<std::size_t>(got);
    }
    bytes.resize(have);
    return bytes;
}

std::string base64(const Md5Digest& digest) {
    unsigned char text[4 * ((16 + 2) / 3) + 1];
    const int length = EVP_EncodeBlock(text, digest.data(), static_cast<int>(digest.size()));
    return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
}

}  // namespace kelvora::platform
