// MD5 with OpenSSL's EVP interface.
#include "platform/Md5.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <memory>
#include <vector>

#include <openssl/crypto.h>
#include <openssl/evp.h>

#include "platform/FileSystem.h"

namespace kelvora::platform {

namespace {

constexpr std::size_t kBufferSize = 256 * 1024;

// OpenSSL loads its configuration once, keeping state for the thread that does it, freed by
// an exit handler registered at that moment. Doing it before main, on the main thread, keeps
// that state off the workers, so nothing is left behind when they end.
[[maybe_unused]] const bool cryptoStarted =
    OPENSSL_init_crypto(OPENSSL_INIT_LOAD_CONFIG, nullptr) == 1;

struct ContextDeleter {
    void operator()(EVP_MD_CTX* context) const { EVP_MD_CTX_free(context); }
};
using Context = std::unique_ptr<EVP_MD_CTX, ContextDeleter>;

Context newContext() {
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

Result<Md5Digest> md5OfFile(const std::string& path) {
    // O_NONBLOCK: opening a named pipe must not wait for a writer; the type check below
    // refuses it before any read.
    auto opened = openPath(path, O_RDONLY | O_NONBLOCK | O_NOCTTY);
    if (!opened) return Result<Md5Digest>::failure(opened.error());
    const FileHandle& fd = *opened;
    struct stat st;
    if (::fstat(fd.get(), &st) != 0) return Result<Md5Digest>::failure(errorDescription(path, errno));
    if (S_ISDIR(st.st_mode)) return Result<Md5Digest>::failure(errorDescription(path, EISDIR));
    if (!S_ISREG(st.st_mode)) {
        return Result<Md5Digest>::failure("\"" + path + "\": not a regular file");
    }
    ::posix_fadvise(fd.get(), 0, 0, POSIX_FADV_SEQUENTIAL);

    Context context = newContext();
    thread_local std::vector<unsigned char> buffer(kBufferSize);
    for (;;) {
        const ssize_t got = ::read(fd.get(), buffer.data(), buffer.size());
        if (got == 0) break;
        if (got < 0) {
            if (errno == EINTR) continue;
            return Result<Md5Digest>::failure(errorDescription(path, errno));
        }
        EVP_DigestUpdate(context.get(), buffer.data(), static_cast<std::size_t>(got));
    }
    return finish(context.get());
}

std::string base64(const Md5Digest& digest) {
    unsigned char text[4 * ((16 + 2) / 3) + 1];
    const int length = EVP_EncodeBlock(text, digest.data(), static_cast<int>(digest.size()));
    return std::string(reinterpret_cast<const char*>(text), static_cast<std::size_t>(length));
}

}  // namespace kelvora::platform
