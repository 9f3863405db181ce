// Cutting a model part off at its resources, so that a quick analysis of a
// package reads only the head of each model.
#include "model/ReadBufferModelFileAnalyzeOnly.h"

#include <algorithm>
#include <cctype>
#include <cstring>
#include <string>

namespace Format_3MF
{
namespace
{
constexpr std::size_t kBlockSize = 65535;
constexpr char kResources[] = "<resources>";
constexpr char kModelEnd[] = "</model>";

// The pattern's bytes, as UTF-8 or as UTF-16 little-endian.
std::vector<char> Encode(char const* text, bool utf16)
{
    std::vector<char> bytes;
    for (; *text != '\0'; ++text)
    {
        bytes.push_back(*text);
        if (utf16)
        {
            bytes.push_back('\0');
        }
    }
    return bytes;
}

// The first position from `start` on of the pattern, ASCII letter case
// ignored byte by byte. A match that would end exactly at the end of the data
// is not looked at: it is found in the next round, when more data has come,
// or not at all.
std::size_t Find(std::vector<char> const& data, std::vector<char> const& pattern, std::size_t start)
{
    if (data.size() <= pattern.size())
    {
        return std::string::npos;
    }
    auto const equal = [](char a, char b)
    { return std::tolower(static_cast<unsigned char>(a)) == std::tolower(static_cast<unsigned char>(b)); };
    for (std::size_t p = start; p + pattern.size() < data.size(); ++p)
    {
        if (std::equal(pattern.begin(), pattern.end(), data.begin() + static_cast<std::ptrdiff_t>(p), equal))
        {
            return p;
        }
    }
    return std::string::npos;
}
} // namespace

ReadBufferModelFileAnalyzeOnly::ReadBufferModelFileAnalyzeOnly(IReadBuffer* source)
    : m_source(source), m_block(kBlockSize)
{
    static std::vector<char> const utf8 = Encode(kResources, false);
    static std::vector<char> const utf16 = Encode(kResources, true);
    for (;;)
    {
        std::size_t const count = m_source->Read(m_block.data(), m_block.size());
        if (count == 0)
        {
            m_data.clear();
            return;
        }
        // Positions that an earlier round could test fully need no second look,
        // which keeps a long head linear.
        std::size_t const searched = m_data.size();
        m_data.insert(m_data.end(), m_block.begin(), m_block.begin() + static_cast<std::ptrdiff_t>(count));
        for (bool const wide : {false, true})
        {
            std::vector<char> const& pattern = wide ? utf16 : utf8;
            std::size_t const start = searched >= pattern.size() ? searched - pattern.size() : 0;
            std::size_t const at = Find(m_data, pattern, start);
            if (at != std::string::npos)
            {
                m_found = true;
                m_data.resize(at);
                std::vector<char> const end = Encode(kModelEnd, wide);
                m_data.insert(m_data.end(), end.begin(), end.end());
                return;
            }
        }
    }
}

std::size_t ReadBufferModelFileAnalyzeOnly::Read(char* data, std::size_t size)
{
    std::size_t const count = std::min(size, m_data.size() - m_position);
    std::memcpy(data, m_data.data() + m_position, count);
    m_position += count;
    return count;
}
} // namespace Format_3MF
