#include "tools/output_file.h"

#include <fcntl.h>
#include <signal.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>
#include <png.h>

namespace {

constexpr int kCleanupSignals[] = {SIGINT, SIGTERM, SIGHUP, SIGQUIT};

// The temporary file being written, for the signal handler, which may do no
// more than unlink it and die: a fixed buffer, set and cleared while the
// signals are blocked.
char gTempPath[PATH_MAX];
volatile sig_atomic_t gHaveTempPath = 0;

extern "C" void RemoveTempFileAndDie(int number)
{
    if (gHaveTempPath)
        unlink(gTempPath);
    signal(number, SIG_DFL);
    raise(number); // delivered, with the default action, when the handler returns
}

void InstallCleanup()
{
    static bool installed = false;
    if (installed)
        return;
    installed = true;
    struct sigaction action;
    std::memset(&action, 0, sizeof action);
    action.sa_handler = RemoveTempFileAndDie;
    sigemptyset(&action.sa_mask);
    for (int number : kCleanupSignals)
        sigaddset(&action.sa_mask, number);
    for (int number : kCleanupSignals) {
        // A signal ignored when the tool started (nohup, a background job of
        // a script) stays ignored.
        struct sigaction old;
        if (sigaction(number, nullptr, &old) == 0 && old.sa_handler != SIG_IGN)
            sigaction(number, &action, nullptr);
    }
    // Past the file size limit a write then fails (EFBIG) and is reported
    // like any other failed write, instead of the signal killing the tool.
    signal(SIGXFSZ, SIG_IGN);
}

// Keeps the cleanup signals out while the temporary file comes and goes.
class SignalsBlocked
{
  public:
    SignalsBlocked()
    {
        sigset_t set;
        sigemptyset(&set);
        for (int number : kCleanupSignals)
            sigaddset(&set, number);
        sigprocmask(SIG_BLOCK, &set, &mOld);
    }
    ~SignalsBlocked() { sigprocmask(SIG_SETMASK, &mOld, nullptr); }
    SignalsBlocked(const SignalsBlocked&) = delete;
    SignalsBlocked& operator=(const SignalsBlocked&) = delete;

  private:
    sigset_t mOld;
};

std::string SystemError(const std::string& path, const char* what)
{
    return path + ": " + what + ": " + std::strerror(errno);
}

bool SameFile(const struct stat& a, const struct stat& b)
{
    return a.st_dev == b.st_dev && a.st_ino == b.st_ino;
}

// The input that writing to `output` would overwrite, if any. Reading and
// writing a character device (/dev/null, a terminal) share nothing.
const std::string* InputAt(const struct stat& output, const std::vector<std::string>& inputs)
{
    if (S_ISCHR(output.st_mode))
        return nullptr;
    for (const std::string& input : inputs) {
        struct stat info;
        if (stat(input.c_str(), &info) == 0 && SameFile(info, output))
            return &input;
    }
    return nullptr;
}

} // namespace

OutputFile::~OutputFile()
{
    Discard();
}

bool OutputFile::Failed(const char* what, std::string* error)
{
    *error = SystemError(mPath, what);
    Discard();
    return false;
}

void OutputFile::Discard()
{
    if (mStream && mOwnsStream)
        std::fclose(mStream);
    mStream = nullptr;
    if (!mTempPath.empty()) {
        SignalsBlocked blocked;
        unlink(mTempPath.c_str());
        gHaveTempPath = 0;
        mTempPath.clear();
    }
}

bool OutputFile::Open(const std::string& path, const std::vector<std::string>& inputs,
                      std::string* error)
{
    mPath = path;
    InstallCleanup();
    struct stat info;
    if (path == "-") {
        if (isatty(STDOUT_FILENO)) {
            *error = "-: standard output is a terminal; redirect it or name an output file";
            return false;
        }
        if (fstat(STDOUT_FILENO, &info) != 0)
            return Failed("cannot write to standard output", error);
        if (const std::string* input = InputAt(info, inputs)) {
            *error = "-: standard output is the input file " + *input;
            return false;
        }
        mStream = stdout;
        mSharesStandardOutput = true;
        return true;
    }

    const bool exists = stat(path.c_str(), &info) == 0;
    if (!exists && errno != ENOENT)
        return Failed("cannot write", error);
    if (exists && S_ISDIR(info.st_mode)) {
        *error = path + ": a folder, not an output file";
        return false;
    }
    if (exists) {
        if (const std::string* input = InputAt(info, inputs)) {
            *error = path + ": the output is the input file " + *input;
            return false;
        }
    }
    if (exists && !S_ISREG(info.st_mode)) {
        const int fd = open(path.c_str(), O_WRONLY | O_NOCTTY | O_CLOEXEC);
        if (fd < 0)
            return Failed("cannot open", error);
        mStream = fdopen(fd, "wb");
        if (!mStream) {
            close(fd);
            return Failed("cannot open", error);
        }
        mOwnsStream = true;
        struct stat standardOutput;
        mSharesStandardOutput =
            fstat(STDOUT_FILENO, &standardOutput) == 0 && SameFile(standardOutput, info);
        return true;
    }

    // A new file gets the permissions of any new file; a file replaced keeps
    // its own, and a symbolic link keeps leading to it.
    mode_t mode = umask(0);
    umask(mode);
    mode = 0666 & ~mode;
    mTarget = path;
    if (exists) {
        char* real = realpath(path.c_str(), nullptr);
        if (!real)
            return Failed("cannot write", error);
        mTarget = real;
        std::free(real);
        mode = info.st_mode & 07777;
    }
    std::string temp = mTarget + ".XXXXXX";
    if (temp.size() >= sizeof gTempPath) {
        *error = path + ": the name is too long";
        return false;
    }
    int fd;
    {
        SignalsBlocked blocked;
        fd = mkstemp(&temp[0]);
        if (fd < 0)
            return Failed("cannot create", error);
        std::memcpy(gTempPath, temp.c_str(), temp.size() + 1);
        gHaveTempPath = 1;
    }
    mTempPath = temp;
    fchmod(fd, mode);
    mStream = fdopen(fd, "wb");
    if (!mStream) {
        close(fd);
        return Failed("cannot create", error);
    }
    mOwnsStream = true;
    return true;
}

bool OutputFile::Write(const void* data, size_t size, std::string* error)
{
    if (!mStream) {
        *error = mPath + ": not open for writing";
        return false;
    }
    if (std::fwrite(data, 1, size, mStream) != size)
        return Failed("cannot write", error);
    return true;
}

bool OutputFile::Commit(std::string* error)
{
    if (!mStream) {
        *error = mPath + ": not open for writing";
        return false;
    }
    bool ok = std::fflush(mStream) == 0 && !std::ferror(mStream);
    if (mOwnsStream) {
        const int closed = std::fclose(mStream);
        ok = ok && closed == 0;
    }
    mStream = nullptr;
    if (!ok)
        return Failed("cannot write", error);
    if (mTempPath.empty())
        return true;
    SignalsBlocked blocked;
    if (std::rename(mTempPath.c_str(), mTarget.c_str()) != 0)
        return Failed("cannot write", error);
    gHaveTempPath = 0;
    mTempPath.clear();
    return true;
}

bool WritePng(OutputFile& out, const uint32_t* pixels, int width, int height, int32_t rowBytes,
              std::string* error)
{
    png_image png;
    std::memset(&png, 0, sizeof png);
    png.version = PNG_IMAGE_VERSION;
    png.width = static_cast<png_uint_32>(width);
    png.height = static_cast<png_uint_32>(height);
    png.format = PNG_FORMAT_ARGB;
    // For 8-bit components the row stride counts bytes.
    const bool ok = png_image_write_to_stdio(&png, out.Stream(), 0, pixels, rowBytes, nullptr) != 0;
    if (!ok)
        *error = out.Stream() && std::ferror(out.Stream())
                     ? SystemError(out.Path(), "cannot write")
                     : out.Path() + ": cannot encode PNG (" + png.message + ")";
    png_image_free(&png);
    return ok;
}

bool WriteOutputFile(const std::string& path, const void* data, size_t size, std::string* error)
{
    OutputFile out;
    return out.Open(path, {}, error) && out.Write(data, size, error) && out.Commit(error);
}
