#pragma once

// The exception of package reading, whose message names what is wrong with the
// file.

#include "common/OndExport.h"

#include <exception>
#include <string>

namespace Format_3MF
{
// A failure while reading a package, with a wide message that names the
// problem. PackageRead::Read turns it into an error of its context.
struct OND_EXPORT Exception : std::exception
{
    std::wstring m_message;

    explicit Exception(std::wstring const& message);
    char const* what() const noexcept override;

private:
    std::string m_narrow;
};

// Reading was cancelled through the progress delegate.
struct OND_EXPORT Canceled : std::exception
{
    char const* what() const noexcept override;
};
} // namespace Format_3MF
