#pragma once

// An owned FILE* for libpng and libjpeg, which read and write C streams.

#include "common/StringConversion.h"

#include <cstdio>
#include <memory>
#include <string>

// A C stream for the C libraries that read from one, closed by its owner.
namespace format3mf
{
struct StdioFileCloser
{
    void operator()(std::FILE* file) const { std::fclose(file); }
};
using StdioFile = std::unique_ptr<std::FILE, StdioFileCloser>;

inline StdioFile OpenStdioFile(std::wstring const& path, char const* mode)
{
    return StdioFile(std::fopen(StringConversion::ConvertNativeToFileName(path).c_str(), mode));
}
} // namespace format3mf
