#pragma once

// A 128-bit GUID for the UUIDs of build items and objects, with lenient parsing
// of the spellings found in files.

#include <array>
#include <cstdint>
#include <string>

namespace MStlRevisionSystem
{
// A 128-bit GUID. Its canonical spelling is the 8-4-4-4-12 hexadecimal form.
class MGuid
{
public:
    MGuid() = default;
    virtual ~MGuid() = default;

    // A random GUID (version 4), for things written that must bear one.
    static MGuid NewRandom();

    // Accepts 32 hexadecimal digits in either case, plain or hyphenated as
    // 8-4-4-4-12, optionally in braces, with blanks around. Anything else
    // leaves the nil GUID (all zeros) and returns false, so that malformed
    // text never produces a malformed spelling.
    bool SetString(std::wstring const& text);

    // braces: wrap in "{...}"; upperCase: hexadecimal digits A-F instead of a-f.
    std::wstring GetString(bool braces, bool upperCase) const;

    bool IsNil() const;
    std::array<std::uint8_t, 16> const& GetBytes() const { return m_bytes; }

private:
    std::array<std::uint8_t, 16> m_bytes{};
};
} // namespace MStlRevisionSystem
