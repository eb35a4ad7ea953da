// The sprig tool's commands. Each command lives in a file of its own and
// registers itself with a static CommandRegistration.
#ifndef SPRIG_TOOLS_COMMAND_H
#define SPRIG_TOOLS_COMMAND_H

#include <cstdint>
#include <string>
#include <vector>

// The help of the commands that read pictures and of those that write files.
#define SPRIG_MAX_PIXELS_HELP                                                                      \
    "--max-pixels N refuses a picture of more than N pixels (width x height)\n"                    \
    "from its header, before the rest of the file is read: by default more\n"                      \
    "than 67108864 (8192 x 8192); N is at most 1073676289 (32767 x 32767). A\n"                    \
    "file is read no further than 8 bytes for each pixel and 4 for each row\n"                     \
    "its header announces, plus 16 MiB.\n"
#define SPRIG_OUTPUT_HELP                                                                          \
    "An output of - is standard output; an existing FIFO or device is written\n"                   \
    "in place. A file is replaced only once the whole output is written, and\n"                    \
    "never when it is an input.\n"

struct ToolCommand
{
    const char* name;
    const char* usage;   // arguments, after "sprig NAME"
    const char* summary; // one line for `sprig --help`
    const char* help;    // the rest of `sprig NAME --help`
    int (*run)(const std::vector<std::string>& args);
};

struct CommandRegistration
{
    explicit CommandRegistration(const ToolCommand& command);
};

// Prints "sprig: MESSAGE" on standard error and returns the exit status 1.
int Fail(const std::string& message);

// Reads an option's value: true and stores it when args[i] is `name` and a
// value follows (i then points at the value).
bool TakeOption(const std::vector<std::string>& args, size_t& i, const char* name,
                std::string* value);

// Parses a whole decimal number within [low, high].
bool ParseInt(const std::string& text, long low, long high, long* value);

// Takes every "--max-pixels N" out of args (up to a "--") into *maxPixels.
bool TakeMaxPixels(std::vector<std::string>* args, uint64_t* maxPixels, std::string* error);

// The arguments of a command that draws one picture:
// [OUT.png] [--width W] [--height H]. Fill in the defaults before parsing.
struct PictureArgs
{
    std::string out;
    long width;
    long height;
};

// Parses args into *parsed, with W and H at least minWidth and minHeight and
// at most 4092 (the widest world). On a bad argument, *error says what is
// wrong in one line.
bool ParsePictureArgs(const std::vector<std::string>& args, const char* command, long minWidth,
                      long minHeight, PictureArgs* parsed, std::string* error);

#endif
