#pragma once

#include "support/PackageTestSupport.h"

#include <gtest/gtest.h>

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

// Columns 4 to 9 are the box in millimetres; the rest must match exactly.
inline void ExpectSameLine(std::string const& expected, std::string const& actual)
{
    std::vector<std::string> const want = SplitLines(expected, '\t');
    std::vector<std::string> const got = SplitLines(actual, '\t');
    ASSERT_EQ(want.size(), got.size()) << "expected: " << expected << "\nactual:   " << actual;
    for (std::size_t i = 0; i < want.size(); ++i)
    {
        if (i >= 4 && i <= 9)
        {
            EXPECT_NEAR(std::stod(want[i]), std::stod(got[i]), 0.0011) << "column " << i << " of " << actual;
        }
        else
        {
            EXPECT_EQ(want[i], got[i])
                << "column " << i << "\nexpected: " << expected << "\nactual:   " << actual;
        }
    }
}
