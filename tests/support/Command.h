// Runs a shell command for the tests that check files with other programs
// (Python's readers, unzip, the tools): its standard output and status.
#pragma once

#include <cstdio>
#include <string>

struct CommandOutput
{
    std::string text;
    int status = -1;
};

inline CommandOutput RunCommand(std::string const& command)
{
    CommandOutput output;
    if (FILE* pipe = popen(command.c_str(), "r"))
    {
        char buffer[4096];
        std::size_t count;
        while ((count = fread(buffer, 1, sizeof buffer, pipe)) > 0)
        {
            output.text.append(buffer, count);
        }
        output.status = pclose(pipe);
    }
    return output;
}
