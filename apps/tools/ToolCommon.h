// What the command-line tools share: --help and --version, bad usage, and
// the way messages of the library reach standard error.
#pragma once

#include "format3mf/Version.h"

#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

namespace format3mf::apps
{
// Answers --help or -h with the usage on standard output and --version with
// the library's version, wherever they stand before "--". True when one was
// answered: the tool then exits 0.
inline bool AnswerStandardOption(int argc, char** argv, char const* program, char const* usage)
{
    for (int i = 1; i < argc && std::strcmp(argv[i], "--") != 0; ++i)
    {
        if (std::strcmp(argv[i], "--help") == 0 || std::strcmp(argv[i], "-h") == 0)
        {
            std::fputs(usage, stdout);
            return true;
        }
        if (std::strcmp(argv[i], "--version") == 0)
        {
            std::printf("%s (OndSDK.AM.3mf) %s\n", program, format3mf::Version());
            return true;
        }
    }
    return false;
}

// A bad argument: what was wrong and the usage on standard error; exit code 2.
inline int BadUsage(char const* program, std::string const& message, char const* usage)
{
    std::fprintf(stderr, "%s: %s\n%s", program, message.c_str(), usage);
    return 2;
}

// Each message of the library (UTF-8) on its own line of standard error,
// after the file it concerns.
inline void PrintMessages(std::string const& file, char const* kind, std::vector<std::string> const& messages)
{
    for (std::string const& message : messages)
    {
        std::fprintf(stderr, "%s: %s: %s\n", file.c_str(), kind, message.c_str());
    }
}
} // namespace format3mf::apps
