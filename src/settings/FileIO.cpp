#include "settings/FileIO.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>

namespace ide {

void (*FileSaveHook)(const std::string& TempPath) = nullptr;

namespace {
[[noreturn]] void Fail(const std::string& path, const char* what, int err) {
    throw EFileError(path + ": " + what + ": " + std::strerror(err));
}

struct Fd {
    int F = -1;
    ~Fd() {
        if (F >= 0) ::close(F);
    }
};
}  // namespace

bool ReadWholeFile(const std::string& path, std::string& bytes, size_t maxSize) {
    Fd fd;
    fd.F = ::open(path.c_str(), O_RDONLY | O_CLOEXEC);
    if (fd.F < 0) {
        if (errno == ENOENT) return false;
        Fail(path, "cannot open", errno);
    }
    struct stat st{};
    if (::fstat(fd.F, &st) != 0) Fail(path, "cannot read", errno);
    if (S_ISDIR(st.st_mode)) throw EFileError(path + ": is a directory");
    if (static_cast<uint64_t>(st.st_size) > maxSize) throw EFileError(path + ": file too large");
    bytes.clear();
    bytes.reserve(static_cast<size_t>(st.st_size));
    char buf[65536];
    for (;;) {
        ssize_t n = ::read(fd.F, buf, sizeof buf);
        if (n < 0) {
            if (errno == EINTR) continue;
            Fail(path, "cannot read", errno);
        }
        if (n == 0) break;
        if (bytes.size() + static_cast<size_t>(n) > maxSize) throw EFileError(path + ": file too large");
        bytes.append(buf, static_cast<size_t>(n));
    }
    return true;
}

void WriteFileAtomic(const std::string& path, const std::string& bytes) {
    static std::atomic<unsigned> counter{0};
    const std::string tmp =
        path + ".tmp." + std::to_string(::getpid()) + "." + std::to_string(counter.fetch_add(1));
    Fd fd;
    fd.F = ::open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (fd.F < 0) Fail(path, "cannot create a temporary file", errno);
    // Keep the permissions of the file that is replaced.
    struct stat st{};
    if (::stat(path.c_str(), &st) == 0) (void)::fchmod(fd.F, st.st_mode & 07777);
    size_t done = 0;
    while (done < bytes.size()) {
        ssize_t n = ::write(fd.F, bytes.data() + done, bytes.size() - done);
        if (n < 0) {
            if (errno == EINTR) continue;
            int err = errno;
            ::unlink(tmp.c_str());
            Fail(path, "cannot write", err);
        }
        done += static_cast<size_t>(n);
    }
    // The data and the size that reads it back are on the disk before the
    // rename: a crash at any point leaves the old file or the new one, whole.
    // (The directory isn't flushed after the rename: that would only decide,
    // at the price of another wait for the disk, which of the two a crash
    // in the next few seconds leaves.)
    if (::fdatasync(fd.F) != 0) {
        int err = errno;
        ::unlink(tmp.c_str());
        Fail(path, "cannot flush", err);
    }
    ::close(fd.F);
    fd.F = -1;
    if (FileSaveHook) FileSaveHook(tmp);
    if (::rename(tmp.c_str(), path.c_str()) != 0) {
        int err = errno;
        ::unlink(tmp.c_str());
        Fail(path, "cannot replace", err);
    }
}

void ForceDirectories(const std::string& path) {
    if (path.empty()) return;
    std::string cur;
    size_t i = 0;
    while (i <= path.size()) {
        size_t j = path.find('/', i);
        if (j == std::string::npos) j = path.size();
        cur = path.substr(0, j);
        if (!cur.empty() && ::mkdir(cur.c_str(), 0700) != 0 && errno != EEXIST) Fail(cur, "cannot create", errno);
        i = j + 1;
    }
}

}  // namespace ide
