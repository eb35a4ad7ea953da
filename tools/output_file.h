// Outputs of the sprig tool's commands.
//
// "-" is standard output. An existing output that is not a regular file (a
// FIFO, a terminal, /dev/null, /dev/stdout on a pipe) is written in place,
// as a stream. Anything else is written to a temporary file beside it (beside
// the file a symbolic link leads to), which takes the place of the output
// only once it is whole: until then the output keeps what it held, and the
// temporary file goes away when the command fails, returns without
// committing, or is stopped by SIGINT, SIGTERM, SIGHUP or SIGQUIT. An output
// that is one of the command's input files is refused.
#ifndef SPRIG_TOOLS_OUTPUT_FILE_H
#define SPRIG_TOOLS_OUTPUT_FILE_H

#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

class OutputFile
{
  public:
    OutputFile() = default;
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    // Opens path for writing (one output at a time in the process). On
    // failure, *error names the output and the problem.
    bool Open(const std::string& path, const std::vector<std::string>& inputs, std::string* error);

    bool Write(const void* data, size_t size, std::string* error);

    // Puts the output in place: true when all of it was written.
    bool Commit(std::string* error);

    FILE* Stream() const { return mStream; }
    const std::string& Path() const { return mPath; }

    // The output goes where standard output goes: a command then prints
    // nothing else there.
    bool SharesStandardOutput() const { return mSharesStandardOutput; }

  private:
    bool Failed(const char* what, std::string* error);
    void Discard();

    std::string mPath;
    std::string mTarget;   // the file a committed temporary file replaces
    std::string mTempPath; // empty when written in place
    FILE* mStream = nullptr;
    bool mOwnsStream = false;
    bool mSharesStandardOutput = false;
};

// Writes pixels with the given row distance as a PNG with straight alpha.
bool WritePng(OutputFile& out, const uint32_t* pixels, int width, int height, int32_t rowBytes,
              std::string* error);

// Opens, writes and commits an output that has no input.
bool WriteOutputFile(const std::string& path, const void* data, size_t size, std::string* error);

#endif
