#pragma once

#include "support/PackageTestSupport.h"

#include <cstdio>
#include <string>
#include <vector>

// Standard output of a command, and whether it exited with 0.
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

inline std::string Quoted(std::string const& text)
{
    return "'" + text + "'";
}

inline std::vector<std::string> SplitLines(std::string const& text, char separator = '\n')
{
    std::vector<std::string> lines;
    std::string line;
    for (char c : text)
    {
        if (c == separator)
        {
            lines.push_back(line);
            line.clear();
        }
        else
        {
            line += c;
        }
    }
    if (!line.empty())
    {
        lines.push_back(line);
    }
    return lines;
}
