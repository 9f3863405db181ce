#pragma once

// Text streams for attribute values, so that persist objects read and write
// bools and numbers in one agreed form.

#include <cstdint>
#include <string>

// The text forms of attribute values: bools print as "1" and "0", numbers in
// decimal. Reading accepts the forms of the XML schema types: "1", "0",
// "true" and "false" for a bool, decimal digits for a number, with white
// space around them.
class MStreamTextOut
{
public:
    MStreamTextOut& operator<<(bool value);
    MStreamTextOut& operator<<(std::int32_t value);
    MStreamTextOut& operator<<(long value);
    MStreamTextOut& operator<<(wchar_t const* text);

    std::wstring const& str() const { return m_text; }

private:
    std::wstring m_text;
};

// Reads values from a text one after the other. A value that does not parse
// leaves its target alone and puts the stream into a failed state, in which
// it reads nothing more.
class MStreamTextIn
{
public:
    explicit MStreamTextIn(std::wstring const& text);

    MStreamTextIn& operator>>(bool& value);
    MStreamTextIn& operator>>(std::uint64_t& value);

    bool fail() const { return m_failed; }
    explicit operator bool() const { return !m_failed; }

private:
    // The next token, separated by white space; empty at the end.
    std::string NextToken();

    std::string m_text;
    std::size_t m_position = 0;
    bool m_failed = false;
};
