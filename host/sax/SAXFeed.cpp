// The feed of a document into the reader's parser, with plain content of
// mesh data taken past it.

#include "sax/SAXFeed.h"

#include "sax/PlainScanner.h"
#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "zip/IReadBuffer.h"

#include <expat.h>

#include <algorithm>
#include <cstring>

namespace OndSAX
{
namespace
{
// Read size of the source.
constexpr std::size_t kBlockSize = 256 * 1024;
// The most bytes of one token kept back across reads: a candidate's start
// tag, or one token of plain content. A longer one goes to the parser.
constexpr std::size_t kMaxCarry = 16 * 1024;

// The elements whose content may bypass the parser: the bulk of a mesh.
constexpr std::string_view kCandidates[] = {"vertices", "triangles"};

bool IsSpace(char c)
{
    return c == ' ' || c == '\n' || c == '\r' || c == '\t';
}
} // namespace

SAXFeed::SAXFeed(MSAXReader& reader, IReadBuffer& source)
    : m_reader(reader), m_source(source), m_data(new char[kBlockSize + kMaxCarry])
{
}

SAXFeed::~SAXFeed() = default;

bool SAXFeed::Run()
{
    m_atEnd = !Fill();
    for (;;)
    {
        if (m_acceptor != nullptr)
        {
            if (!ScanRegion())
            {
                // A token too long to keep back, or cut off by the end of the
                // input, is the parser's to judge.
                bool const wait = m_end - m_fed < kMaxCarry && !m_atEnd;
                if (wait)
                {
                    m_atEnd = !Fill();
                }
                if (!wait || m_atEnd)
                {
                    FallBack();
                }
            }
            continue;
        }
        Candidate const candidate = Find();
        if (candidate.m_kind == Candidate::Found)
        {
            if (!Feed(candidate.m_tagEnd))
            {
                return false;
            }
            m_searchFrom = candidate.m_tagEnd;
            Enter(candidate);
            continue;
        }
        std::size_t const end = candidate.m_kind == Candidate::Partial ? candidate.m_begin : m_end;
        if (!Feed(end))
        {
            return false;
        }
        m_searchFrom = end;
        if (m_atEnd)
        {
            break;
        }
        m_atEnd = !Fill();
    }
    return XML_Parse(m_reader.m_parser, nullptr, 0, XML_TRUE) == XML_STATUS_OK;
}

// Keeps the bytes not yet fed or taken, and reads behind them.
bool SAXFeed::Fill()
{
    if (m_atEnd)
    {
        return false;
    }
    if (m_fed > 0)
    {
        std::memmove(m_data.get(), m_data.get() + m_fed, m_end - m_fed);
        m_offset += static_cast<std::int64_t>(m_fed);
        m_end -= m_fed;
        m_searchFrom = m_searchFrom > m_fed ? m_searchFrom - m_fed : 0;
        m_fed = 0;
    }
    std::size_t const got = m_source.Read(m_data.get() + m_end, kBlockSize + kMaxCarry - m_end);
    m_end += got;
    return got > 0;
}

bool SAXFeed::Feed(std::size_t end)
{
    if (end <= m_fed)
    {
        return true;
    }
    auto const length = static_cast<int>(end - m_fed);
    char const* const data = m_data.get() + m_fed;
    m_fed = end;
    return XML_Parse(m_reader.m_parser, data, length, XML_FALSE) == XML_STATUS_OK;
}

// The next start tag of a candidate element, from a '<' followed by its name
// to the '>' that closes the tag outside quotes. What only looks like one
// (in a comment, say) is not taken later: the parser must have seen a start
// tag at exactly these bytes.
SAXFeed::Candidate SAXFeed::Find()
{
    char const* const data = m_data.get();
    Candidate candidate;
    std::size_t at = m_searchFrom;
    while (at < m_end)
    {
        auto const* const open = static_cast<char const*>(std::memchr(data + at, '<', m_end - at));
        if (open == nullptr)
        {
            break;
        }
        std::size_t const begin = static_cast<std::size_t>(open - data);
        at = begin + 1;
        std::size_t const rest = m_end - at;
        std::string_view name;
        for (std::string_view const known : kCandidates)
        {
            if (std::memcmp(data + at, known.data(), std::min(rest, known.size())) == 0)
            {
                name = known;
                break;
            }
        }
        if (name.empty())
        {
            continue;
        }
        if (rest <= name.size())
        {
            if (m_atEnd)
            {
                continue;
            }
            candidate.m_kind = Candidate::Partial;
            candidate.m_begin = begin;
            return candidate;
        }
        char const next = data[at + name.size()];
        if (!IsSpace(next) && next != '>' && next != '/')
        {
            continue;
        }
        // Each byte is looked at by one such scan at most: the search goes on
        // where the scan stopped.
        char quote = 0;
        std::size_t i = at + name.size();
        for (; i < m_end; ++i)
        {
            char const c = data[i];
            if (quote != 0)
            {
                quote = c == quote ? 0 : quote;
            }
            else if (c == '"' || c == '\'')
            {
                quote = c;
            }
            else if (c == '>' || c == '<')
            {
                break;
            }
        }
        if (i == m_end)
        {
            if (!m_atEnd && m_end - begin < kMaxCarry)
            {
                candidate.m_kind = Candidate::Partial;
                candidate.m_begin = begin;
                return candidate;
            }
            at = m_end;
        }
        else if (data[i] == '<')
        {
            at = i;
        }
        else if (data[i - 1] == '/')
        {
            // An empty element has no content to scan.
            at = i + 1;
        }
        else
        {
            candidate.m_kind = Candidate::Found;
            candidate.m_begin = begin;
            candidate.m_tagEnd = i + 1;
            candidate.m_name = name;
            return candidate;
        }
    }
    m_searchFrom = m_end;
    return candidate;
}

// The parser has just read the candidate's start tag and holds it back for
// its text. Its content goes past the parser if the handler about to take it
// asks for that.
void SAXFeed::Enter(Candidate const& candidate)
{
    MSAXReader& reader = m_reader;
    if (!IsPlainContentEnabled() || !reader.m_holding || reader.m_stopped || reader.m_skipping > 0 ||
        reader.m_heldBegin != Offset(candidate.m_begin) || reader.m_heldEnd != Offset(candidate.m_tagEnd) ||
        reader.m_heldName != candidate.m_name)
    {
        return;
    }
    std::size_t const depth = reader.m_depth + 1;
    if (m_fallbackDepth != 0 && depth > m_fallbackDepth)
    {
        return;
    }
    m_fallbackDepth = 0;
    auto* const acceptor = dynamic_cast<IPlainContentReader*>(reader.m_handlers.back().handler);
    if (acceptor == nullptr || !acceptor->AcceptsPlainContent(candidate.m_name))
    {
        return;
    }
    m_acceptor = acceptor;
    m_receiver = nullptr;
    m_started = false;
    m_regionName = candidate.m_name;
    m_regionDepth = depth;
}

bool SAXFeed::ScanRegion()
{
    PlainStep const step = ScanPlain(m_data.get() + m_fed, m_end - m_fed, m_element);
    switch (step.m_token)
    {
    case PlainToken::Skip:
        Bypass(step.m_length);
        return true;
    case PlainToken::Element:
        if (!m_started)
        {
            // The parser would hand the start tag over at its first child.
            m_started = true;
            m_reader.DispatchHeldStartTagAt(Offset(m_fed + step.m_startTagLength));
            if (m_reader.m_skipping == 0)
            {
                m_receiver = dynamic_cast<IPlainContentReader*>(m_reader.m_handlers.back().handler);
            }
        }
        HandElement(step.m_length);
        return true;
    case PlainToken::EndTag:
        if (m_element.m_name == m_regionName)
        {
            // The end tag goes to the parser, right behind the start tag.
            m_acceptor = nullptr;
            m_searchFrom = m_fed;
        }
        else
        {
            FallBack();
        }
        return true;
    case PlainToken::More:
        return false;
    case PlainToken::Other:
        break;
    }
    FallBack();
    return true;
}

void SAXFeed::HandElement(std::size_t length)
{
    if (m_receiver == nullptr)
    {
        FallBack();
        return;
    }
    m_reader.m_position = Offset(m_fed + length);
    bool taken = false;
    try
    {
        taken = m_receiver->HandlePlainElement(m_element, m_reader);
    }
    catch (...)
    {
        m_reader.m_position = -1;
        throw;
    }
    m_reader.m_position = -1;
    if (taken)
    {
        Bypass(length);
    }
    else
    {
        FallBack();
    }
}

void SAXFeed::Bypass(std::size_t length)
{
    m_fed += length;
    m_reader.m_bypassed += static_cast<std::int64_t>(length);
}

void SAXFeed::FallBack()
{
    m_acceptor = nullptr;
    m_fallbackDepth = m_regionDepth;
    m_searchFrom = m_fed;
}
} // namespace OndSAX
