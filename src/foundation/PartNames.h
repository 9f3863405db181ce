// Part names and file paths across the wide-string interface and UTF-8 storage,
// so that no locale decides how a name is spelled.
#pragma once

#include <boost/filesystem/path.hpp>

#include <string>

namespace Format_3MF
{
// Names and paths are wide strings in the interface and UTF-8 on disk and in
// archives. Every crossing goes through these, so that no locale decides.
boost::filesystem::path ToPath(std::wstring const& name);
std::wstring FromPath(boost::filesystem::path const& path);

// A part name uses "/" only: a backslash is a separator written the other way.
std::wstring WithForwardSlashes(std::wstring name);

// Lower case by the global locale, character by character, as the content
// types lookup compares.
std::wstring ToLowerGlobalLocale(std::wstring text);
} // namespace Format_3MF
