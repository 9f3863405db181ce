#pragma once

// UTF-8, UTF-16 and wide-string conversion, the one place where the text
// encodings of archives, paths and XML meet.

#include "common/OndExport.h"

#include <cstdint>
#include <string>

// Conversions between the wide strings of the interface (UTF-32 here, since
// wchar_t has 32 bits), UTF-8 and UTF-16. Every conversion of archive names,
// paths and XML text goes through these. Malformed input never throws: an
// invalid sequence becomes U+FFFD, so hostile names stay printable.
namespace StringConversion
{
OND_EXPORT std::string ConvertNativeToUTF8(std::wstring const& text);
OND_EXPORT std::string ConvertNativeToUTF8(wchar_t const* text, std::uint64_t length);
OND_EXPORT std::u16string ConvertNativeToUTF16(wchar_t const* text, std::uint64_t length);
OND_EXPORT std::wstring ConvertUTF16ToNative(char16_t const* text, std::uint64_t length);
// From the narrow strings of package paths, which are UTF-8 on this platform.
OND_EXPORT std::wstring ConvertMultiByteStringToOndString(std::string const& text);
OND_EXPORT std::wstring ConvertUTF8ToNative(char const* text, std::uint64_t length);
// File names on Linux are bytes, not always UTF-8. These two carry every
// byte of a name through a wide string and back: a byte that is not part of
// valid UTF-8 becomes the lone surrogate U+DC80 + byte (as Python's
// "surrogateescape" does), which a name read from text never holds.
OND_EXPORT std::wstring ConvertFileNameToNative(std::string const& name);
OND_EXPORT std::string ConvertNativeToFileName(std::wstring const& name);
// Appends the UTF-8 form of one code point; used by code that builds text in place.
OND_EXPORT void AppendUTF8(std::string& target, char32_t codePoint);
} // namespace StringConversion
