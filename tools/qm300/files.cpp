// Getting bytes in and out: files, standard input and output, FIFOs, and the
// temporaries that must never outlive the run, signals included.
#include <fcntl.h>
#include <signal.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <climits>
#include <cstring>

#include "image.h"
#include "module.h"

namespace qm300 {

namespace {

// Temporaries alive right now, in plain memory a signal handler may read.
// A slot's path is complete before `live` is set and stays until it is cleared.
struct TempSlot {
    std::atomic<bool> taken{false};
    std::atomic<bool> live{false};
    char path[PATH_MAX];
};
constexpr int kSlots = 160;  // batch runs at most 64 pages at once
TempSlot g_temps[kSlots];
mode_t g_umask = 022;

int register_temp(const std::string& path) {
    if (path.size() >= PATH_MAX) return -1;
    for (int i = 0; i < kSlots; ++i) {
        bool expected = false;
        if (g_temps[i].taken.compare_exchange_strong(expected, true)) {
            std::memcpy(g_temps[i].path, path.c_str(), path.size() + 1);
            g_temps[i].live = true;
            return i;
        }
    }
    return -1;
}

void release_temp(int slot) {
    if (slot < 0) return;
    g_temps[slot].live = false;
    g_temps[slot].taken = false;
}

void remove_temps() {
    for (TempSlot& t : g_temps)
        if (t.live) unlink(t.path);
}

void on_stop_signal(int sig) {
    remove_temps();
    _exit(128 + sig);
}

// A crash: remove the temporaries, put back the previous handler (the
// default, or a sanitizer's) and let the fault happen again under it.
struct sigaction g_previous[NSIG];
void on_crash(int sig) {
    remove_temps();
    sigaction(sig, &g_previous[sig], nullptr);
}

std::string errno_text() { return std::strerror(errno); }

bool write_all(int fd, const uint8_t* p, size_t n) {
    while (n > 0) {
        const ssize_t k = write(fd, p, n);
        if (k < 0 && errno == EINTR) continue;
        if (k <= 0) return false;
        p += k, n -= size_t(k);
    }
    return true;
}

// The whole of a file or stream, mapped when it is a regular file.
class Input {
public:
    Input(const std::string& path, size_t streamLimit) {
        const bool stdinput = path == "-";
        fd_ = stdinput ? STDIN_FILENO : open(path.c_str(), O_RDONLY | O_CLOEXEC);
        if (fd_ < 0) throw ToolError("cannot read: " + errno_text());
        struct stat st;
        if (fstat(fd_, &st) != 0) throw ToolError("cannot read: " + errno_text());
        if (S_ISDIR(st.st_mode)) throw ToolError("is a folder, not an image file");
        if (S_ISREG(st.st_mode) && st.st_size > 0 && lseek(fd_, 0, SEEK_CUR) == 0) {
            map_ = mmap(nullptr, size_t(st.st_size), PROT_READ, MAP_PRIVATE, fd_, 0);
            if (map_ == MAP_FAILED) throw ToolError("cannot read: " + errno_text());
            size_ = size_t(st.st_size);
            return;
        }
        map_ = nullptr;
        uint8_t chunk[65536];
        for (;;) {
            const ssize_t k = read(fd_, chunk, sizeof chunk);
            if (k < 0 && errno == EINTR) continue;
            if (k < 0) throw ToolError("cannot read: " + errno_text());
            if (k == 0) break;
            if (buf_.size() + size_t(k) > streamLimit)
                throw ToolError("input larger than any page within --max-pixels");
            buf_.insert(buf_.end(), chunk, chunk + k);
        }
        size_ = buf_.size();
    }
    ~Input() {
        if (map_ && map_ != MAP_FAILED) munmap(map_, size_);
        if (fd_ > STDIN_FILENO) close(fd_);
    }
    const uint8_t* data() const { return map_ ? static_cast<const uint8_t*>(map_) : buf_.data(); }
    size_t size() const { return size_; }

private:
    int fd_ = -1;
    void* map_ = nullptr;
    size_t size_ = 0;
    std::vector<uint8_t> buf_;
};

}  // namespace

void install_cleanup_handlers() {
    g_umask = umask(0);
    umask(g_umask);
    struct sigaction sa {};
    sigemptyset(&sa.sa_mask);
    sa.sa_handler = on_stop_signal;
    for (int sig : {SIGINT, SIGTERM, SIGHUP}) sigaction(sig, &sa, nullptr);
    sa.sa_handler = on_crash;
    for (int sig : {SIGSEGV, SIGBUS, SIGABRT, SIGFPE, SIGILL}) sigaction(sig, &sa, &g_previous[sig]);
}

Image read_image(const std::string& path, int page) {
    const std::string name = path == "-" ? "standard input" : path;
    try {
        // A stream can be no larger than the largest page a PNM may hold.
        const Input in(path, size_t(std::min<uint64_t>(max_pixels() * 3 + (1u << 20), SIZE_MAX / 2)));
        return decode_image(in.data(), in.size(), page, max_pixels());
    } catch (const ToolError& e) {
        throw ToolError(name + ": " + e.what());
    } catch (const std::bad_alloc&) {
        throw ToolError(name + ": out of memory");
    }
}

OutputFile::OutputFile(const std::string& path, bool force) : path_(path) {
    if (path == "-") {
        fd_ = STDOUT_FILENO;
        direct_ = true;
        return;
    }
    struct stat st;
    mode_ = 0666 & ~g_umask;
    if (stat(path.c_str(), &st) == 0) {
        if (S_ISDIR(st.st_mode)) throw ToolError(path + ": is a folder");
        if (!S_ISREG(st.st_mode)) {  // a FIFO or a device: write straight into it
            direct_ = true;
            return;
        }
        if (!force && ((st.st_mode & 0222) == 0 || access(path.c_str(), W_OK) != 0))
            throw ToolError(path + ": is read-only (--force replaces it)");
        mode_ = st.st_mode & 07777;
    }
    const auto slash = path.rfind('/');
    const std::string dir = slash == std::string::npos ? "." : slash == 0 ? "/" : path.substr(0, slash);
    tmp_ = dir + "/.qm300-XXXXXX";
    fd_ = mkostemp(tmp_.data(), O_CLOEXEC);
    if (fd_ < 0) throw ToolError(path + ": cannot write: " + errno_text());
    slot_ = register_temp(tmp_);
}

OutputFile::~OutputFile() {
    if (!tmp_.empty()) {
        unlink(tmp_.c_str());
        release_temp(slot_);
    }
    if (fd_ > STDERR_FILENO) close(fd_);
}

void OutputFile::commit(const std::vector<uint8_t>& bytes) {
    if (direct_ && fd_ < 0) {
        fd_ = open(path_.c_str(), O_WRONLY | O_CLOEXEC);
        if (fd_ < 0) throw ToolError(path_ + ": cannot write: " + errno_text());
    }
    if (!write_all(fd_, bytes.data(), bytes.size())) throw ToolError(path_ + ": cannot write: " + errno_text());
    if (direct_) return;
    if (fchmod(fd_, mode_) != 0 || fsync(fd_) != 0 || close(fd_) != 0) {
        fd_ = -1;
        throw ToolError(path_ + ": cannot write: " + errno_text());
    }
    fd_ = -1;
    if (rename(tmp_.c_str(), path_.c_str()) != 0) throw ToolError(path_ + ": cannot write: " + errno_text());
    release_temp(slot_);
    tmp_.clear();
}

void write_image(const std::string& path, const Image& image, int jpegQuality) {
    const std::string kind = image_kind(path);
    OutputFile out(path, false);
    try {
        out.commit(encode_image(image, kind, jpegQuality));
    } catch (const ToolError& e) {
        const std::string what = e.what();
        throw ToolError(what.rfind(path, 0) == 0 ? what : path + ": " + what);
    }
}

bool same_file(const std::string& a, const std::string& b) {
    struct stat sa, sb;
    if (stat(a.c_str(), &sa) != 0 || stat(b.c_str(), &sb) != 0) return false;
    return sa.st_dev == sb.st_dev && sa.st_ino == sb.st_ino;
}

}  // namespace qm300
