// sprig: command-line tool over libsprig.so.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

#include "sprig/version.h"
#include "tools/command.h"
#include "tools/file_io.h"

namespace {

std::map<std::string, ToolCommand>& Commands()
{
    static std::map<std::string, ToolCommand> commands;
    return commands;
}

void PrintUsage(FILE* out)
{
    std::fprintf(out, "usage: sprig COMMAND [ARGS...]\n"
                      "       sprig COMMAND --help\n"
                      "       sprig help [COMMAND]\n"
                      "       sprig --version\n\ncommands:\n");
    for (const auto& entry : Commands())
        std::fprintf(out, "  %-12s %s\n", entry.first.c_str(), entry.second.summary);
}

// The tool's version, and the library's when the one loaded is another.
void PrintVersion()
{
    std::printf("sprig %s\n", SPRIG_VERSION_STRING);
    if (std::strcmp(sprig_version(), SPRIG_VERSION_STRING) != 0)
        std::printf("libsprig.so %s\n", sprig_version());
}

void PrintCommandHelp(const ToolCommand& command)
{
    std::printf("usage: sprig %s %s\n\n%s\n", command.name, command.usage, command.summary);
    if (command.help && *command.help)
        std::printf("\n%s", command.help);
}

} // namespace

CommandRegistration::CommandRegistration(const ToolCommand& command)
{
    Commands()[command.name] = command;
}

int Fail(const std::string& message)
{
    std::fprintf(stderr, "sprig: %s\n", message.c_str());
    return 1;
}

bool TakeOption(const std::vector<std::string>& args, size_t& i, const char* name,
                std::string* value)
{
    if (args[i] != name || i + 1 >= args.size())
        return false;
    *value = args[++i];
    return true;
}

bool ParseInt(const std::string& text, long low, long high, long* value)
{
    if (text.empty())
        return false;
    char* end = nullptr;
    errno = 0;
    const long parsed = std::strtol(text.c_str(), &end, 10);
    if (errno || *end || parsed < low || parsed > high)
        return false;
    *value = parsed;
    return true;
}

bool TakeMaxPixels(std::vector<std::string>* args, uint64_t* maxPixels, std::string* error)
{
    for (size_t i = 0; i < args->size() && (*args)[i] != "--";) {
        if ((*args)[i] != "--max-pixels") {
            i++;
            continue;
        }
        long value = 0;
        const bool given = i + 1 < args->size();
        if (!given || !ParseInt((*args)[i + 1], 1, long{kLargestMaxPixels}, &value)) {
            *error = "--max-pixels wants a whole number of pixels from 1 to " +
                     std::to_string(kLargestMaxPixels) +
                     (given ? ", not '" + (*args)[i + 1] + "'" : std::string());
            return false;
        }
        *maxPixels = static_cast<uint64_t>(value);
        args->erase(args->begin() + long(i), args->begin() + long(i) + 2);
    }
    return true;
}

bool ParsePictureArgs(const std::vector<std::string>& args, const char* command, long minWidth,
                      long minHeight, PictureArgs* parsed, std::string* error)
{
    bool haveOut = false;
    for (size_t i = 0; i < args.size(); i++) {
        std::string value;
        if (TakeOption(args, i, "--width", &value)) {
            if (!ParseInt(value, minWidth, 4092, &parsed->width)) {
                *error = "--width wants a whole number from " + std::to_string(minWidth) +
                         " to 4092, not '" + value + "'";
                return false;
            }
        } else if (TakeOption(args, i, "--height", &value)) {
            if (!ParseInt(value, minHeight, 4092, &parsed->height)) {
                *error = "--height wants a whole number from " + std::to_string(minHeight) +
                         " to 4092, not '" + value + "'";
                return false;
            }
        } else if ((args[i].size() > 1 && args[i][0] == '-') || haveOut) {
            *error = std::string(command) + ": unexpected argument '" + args[i] + "' (see sprig " +
                     command + " --help)";
            return false;
        } else {
            parsed->out = args[i];
            haveOut = true;
        }
    }
    return true;
}

int main(int argc, char** argv)
{
    if (argc < 2) {
        PrintUsage(stderr);
        return 2;
    }
    const std::string name = argv[1];
    if (name == "--version") {
        PrintVersion();
        return 0;
    }
    if (name == "--help" || name == "-h" || (name == "help" && argc == 2)) {
        PrintUsage(stdout);
        return 0;
    }
    if (name == "help") {
        const auto found = Commands().find(argv[2]);
        if (argc > 3 || found == Commands().end()) {
            if (argc > 3)
                std::fprintf(stderr, "sprig: help takes one command\n");
            else
                std::fprintf(stderr, "sprig: help: unknown command '%s'\n", argv[2]);
            PrintUsage(stderr);
            return 2;
        }
        PrintCommandHelp(found->second);
        return 0;
    }
    const auto found = Commands().find(name);
    if (found == Commands().end()) {
        std::fprintf(stderr, "sprig: unknown command '%s'\n", name.c_str());
        PrintUsage(stderr);
        return 2;
    }
    std::vector<std::string> args(argv + 2, argv + argc);
    for (const std::string& arg : args) {
        if (arg == "--help" || arg == "-h") {
            PrintCommandHelp(found->second);
            return 0;
        }
    }
    return found->second.run(args);
}
