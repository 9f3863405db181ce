// The SAX reader over expat: it hands elements to persist objects and stops the
// parse cleanly when a handler throws or the stream fails.
#include "sax/SAXReader.h"

#include "common/StringConversion.h"
#include "sax/PlainContent.h"
#include "sax/SAXFeed.h"
#include "sax/SAXPersist.h"
#include "zip/IReadBuffer.h"

#include <expat.h>

#include <cstring>
#include <istream>

namespace
{
// A failure of the stream, which makes Parse false.
struct StreamFailure
{
};

// The bytes of a stream, for the parse from a buffer.
class StreamReadBuffer final : public IReadBuffer
{
public:
    explicit StreamReadBuffer(std::istream& stream) : m_stream(stream) {}

    std::size_t Read(char* data, std::size_t size) override
    {
        if (!m_stream)
        {
            return 0;
        }
        m_stream.read(data, static_cast<std::streamsize>(size));
        if (m_stream.bad())
        {
            throw StreamFailure();
        }
        return static_cast<std::size_t>(m_stream.gcount());
    }

private:
    std::istream& m_stream;
};

// Converts a tag name into a string that is reused from tag to tag. Names
// are ASCII in practice; they are widened without the general conversion.
void SetTag(std::wstring& target, char const* name)
{
    std::size_t const length = std::strlen(name);
    target.resize(length);
    for (std::size_t i = 0; i < length; ++i)
    {
        auto const c = static_cast<unsigned char>(name[i]);
        if (c >= 0x80)
        {
            target = StringConversion::ConvertUTF8ToNative(name, length);
            return;
        }
        target[i] = static_cast<wchar_t>(c);
    }
}
} // namespace

namespace OndSAX
{
ISAXReader::~ISAXReader() = default;

char const* ISAXReader::FindAttribute(std::wstring const& name)
{
    if (m_attributes == nullptr || m_attributes[0] == nullptr)
    {
        return nullptr;
    }
    // Attributes are mostly read in the order they were written, so the
    // search starts behind the attribute found last and wraps around.
    if (m_attributes[m_nextAttribute] == nullptr)
    {
        m_nextAttribute = 0;
    }
    std::size_t const length = name.size();
    std::size_t index = m_nextAttribute;
    do
    {
        // Names are ASCII in practice and match byte for byte, which beats
        // converting the name and calling strcmp.
        char const* const candidate = m_attributes[index];
        std::size_t i = 0;
        while (i < length &&
               static_cast<unsigned char>(candidate[i]) == static_cast<std::uint32_t>(name[i]) &&
               static_cast<std::uint32_t>(name[i]) < 0x80)
        {
            ++i;
        }
        if (i < length && static_cast<std::uint32_t>(name[i]) >= 0x80)
        {
            return FindAttributeUTF8(name);
        }
        if (i == length && candidate[i] == '\0')
        {
            m_nextAttribute = index + 2;
            return m_attributes[index + 1];
        }
        index += 2;
        if (m_attributes[index] == nullptr)
        {
            index = 0;
        }
    } while (index != m_nextAttribute);
    return nullptr;
}

char const* ISAXReader::FindAttributeUTF8(std::wstring const& name)
{
    m_nameBuffer = StringConversion::ConvertNativeToUTF8(name);
    for (char const* const* attribute = m_attributes; *attribute != nullptr; attribute += 2)
    {
        if (m_nameBuffer == *attribute)
        {
            return attribute[1];
        }
    }
    return nullptr;
}
} // namespace OndSAX

// The C callbacks of the parser. A C++ exception must not unwind through the
// parser's C frames, so it is caught here, the parser is stopped, and Parse
// throws it again once the parser has returned.
struct ExpatEvents
{
    static void XMLCALL Start(void* data, XML_Char const* name, XML_Char const** attributes)
    {
        auto& reader = *static_cast<MSAXReader*>(data);
        if (reader.m_stopped)
        {
            return;
        }
        try
        {
            reader.OnStart(name, attributes);
        }
        catch (...)
        {
            reader.Fail(std::current_exception());
        }
    }

    static void XMLCALL End(void* data, XML_Char const* name)
    {
        auto& reader = *static_cast<MSAXReader*>(data);
        if (reader.m_stopped)
        {
            return;
        }
        try
        {
            reader.OnEnd(name);
        }
        catch (...)
        {
            reader.Fail(std::current_exception());
        }
    }

    static void XMLCALL Text(void* data, XML_Char const* text, int length)
    {
        auto& reader = *static_cast<MSAXReader*>(data);
        if (reader.m_stopped)
        {
            return;
        }
        try
        {
            reader.OnText(text, length);
        }
        catch (...)
        {
            reader.Fail(std::current_exception());
        }
    }

    static void XMLCALL DocumentType(void* data, XML_Char const*, XML_Char const*, XML_Char const*, int)
    {
        auto* const reader = static_cast<MSAXReader*>(data);
        reader->m_refusedDocumentType = true;
        reader->Refuse();
    }
};

MSAXReader::MSAXReader(ISAXPersist& root) : m_parser(XML_ParserCreate(nullptr))
{
    m_handlers.push_back({&root, 0});
    if (m_parser != nullptr)
    {
        XML_SetUserData(m_parser, this);
        XML_SetElementHandler(m_parser, ExpatEvents::Start, ExpatEvents::End);
        XML_SetStartDoctypeDeclHandler(m_parser, ExpatEvents::DocumentType);
        XML_SetParamEntityParsing(m_parser, XML_PARAM_ENTITY_PARSING_NEVER);
    }
}

MSAXReader::~MSAXReader()
{
    OndSAX::AddPlainContentBytesTaken(m_bypassed);
    while (m_handlers.size() > 1)
    {
        delete m_handlers.back().handler;
        m_handlers.pop_back();
    }
    if (m_parser != nullptr)
    {
        XML_ParserFree(m_parser);
    }
}

bool MSAXReader::Parse(std::istream& stream)
{
    StreamReadBuffer source(stream);
    try
    {
        return Parse(source);
    }
    catch (StreamFailure const&)
    {
        return false;
    }
}

bool MSAXReader::Parse(IReadBuffer& source)
{
    if (m_parser == nullptr)
    {
        return false;
    }
    OndSAX::SAXFeed feed(*this, source);
    if (!feed.Run())
    {
        if (m_error)
        {
            std::rethrow_exception(m_error);
        }
        return false;
    }
    ISAXPersist& root = *m_handlers.front().handler;
    root.ResolveReferences(*this);
    root.InitAfterLoading();
    return true;
}

std::wstring MSAXReader::GetErrorMessage() const
{
    if (m_refusedDocumentType)
    {
        return L"a document type declaration is not allowed";
    }
    if (m_parser == nullptr)
    {
        return L"the XML parser could not be created";
    }
    XML_Error const code = XML_GetErrorCode(m_parser);
    if (code == XML_ERROR_NONE)
    {
        return std::wstring();
    }
    std::string message = XML_ErrorString(code);
    message += " at line " + std::to_string(XML_GetCurrentLineNumber(m_parser)) + ", column " +
               std::to_string(XML_GetCurrentColumnNumber(m_parser));
    return StringConversion::ConvertUTF8ToNative(message.data(), message.size());
}

void MSAXReader::PushHandler(ISAXPersist* child)
{
    if (child == nullptr)
    {
        return;
    }
    try
    {
        m_handlers.push_back({child, m_depth});
    }
    catch (...)
    {
        delete child;
        throw;
    }
}

void MSAXReader::GetText(std::wstring& out)
{
    out = StringConversion::ConvertUTF8ToNative(m_text.data(), m_text.size());
}

std::map<std::wstring, std::wstring> const& MSAXReader::GetAttributes()
{
    if (!m_attributeMapValid)
    {
        m_attributeMap.clear();
        for (char const* const* attribute = RawAttributes(); attribute != nullptr && *attribute != nullptr;
             attribute += 2)
        {
            m_attributeMap.emplace(
                StringConversion::ConvertUTF8ToNative(attribute[0], std::strlen(attribute[0])),
                StringConversion::ConvertUTF8ToNative(attribute[1], std::strlen(attribute[1])));
        }
        m_attributeMapValid = true;
    }
    return m_attributeMap;
}

std::int64_t MSAXReader::GetPosition()
{
    if (m_position >= 0)
    {
        return m_position;
    }
    std::int64_t const index = XML_GetCurrentByteIndex(m_parser);
    return index < 0 ? 0 : index + XML_GetCurrentByteCount(m_parser) + m_bypassed;
}

bool MSAXReader::GetAttributeString(std::wstring& out, std::wstring const& name)
{
    out.clear();
    char const* const value = FindAttribute(name);
    if (value == nullptr)
    {
        return false;
    }
    out = StringConversion::ConvertUTF8ToNative(value, std::strlen(value));
    return true;
}

void MSAXReader::OnStart(char const* name, char const** attributes)
{
    if (m_skipping > 0)
    {
        ++m_skipping;
        return;
    }
    if (m_holding)
    {
        DispatchHeldStartTag();
        if (m_skipping > 0)
        {
            ++m_skipping;
            return;
        }
    }
    if (IsEmptyElementTag())
    {
        // No character data can follow: hand the tag over with the parser's
        // own attribute list and save the copy.
        m_text.clear();
        SetAttributes(attributes);
        Dispatch(name);
        // The parser reports the end of this element next, under the same
        // name, unless the element was skipped.
        m_tagIsCurrent = m_skipping == 0;
    }
    else
    {
        HoldStartTag(name, attributes);
    }
}

void MSAXReader::OnEnd(char const* name)
{
    if (m_skipping > 0)
    {
        --m_skipping;
        return;
    }
    if (m_holding)
    {
        DispatchHeldStartTag();
        if (m_skipping > 0)
        {
            --m_skipping;
            return;
        }
    }
    DropHandlersAbove(m_depth - 1);
    if (!m_tagIsCurrent)
    {
        SetTag(m_tag, name);
    }
    m_tagIsCurrent = false;
    m_handlers.back().handler->HandleEndTag(m_tag);
    DropHandlersAbove(m_depth - 1);
    --m_depth;
}

void MSAXReader::OnText(char const* text, int length)
{
    if (m_holding)
    {
        m_text.append(text, static_cast<std::size_t>(length));
    }
}

void MSAXReader::Refuse()
{
    m_stopped = true;
    XML_StopParser(m_parser, XML_FALSE);
}

void MSAXReader::Fail(std::exception_ptr error)
{
    m_error = std::move(error);
    Refuse();
}

// True when the current start tag is an empty-element tag. The parser's
// input context shows the raw bytes of the tag; it is not available inside
// entity replacement text or when the parser was built without context
// bytes, and in UTF-16 input the bytes do not match: then the tag is held
// back like any other.
bool MSAXReader::IsEmptyElementTag() const
{
    int offset = 0;
    int size = 0;
    char const* const input = XML_GetInputContext(m_parser, &offset, &size);
    int const count = XML_GetCurrentByteCount(m_parser);
    if (input == nullptr || count < 2 || offset < 0 || offset + count > size)
    {
        return false;
    }
    char const* const end = input + offset + count;
    return end[-2] == '/' && end[-1] == '>';
}

void MSAXReader::HoldStartTag(char const* name, char const** attributes)
{
    m_holding = true;
    std::int64_t const index = XML_GetCurrentByteIndex(m_parser);
    m_heldBegin = index < 0 ? -1 : index + m_bypassed;
    m_heldEnd = m_heldBegin + XML_GetCurrentByteCount(m_parser);
    m_heldName.assign(name);
    m_text.clear();
    std::size_t storage = 0;
    std::size_t count = 0;
    for (char const** attribute = attributes; *attribute != nullptr; ++attribute)
    {
        storage += std::strlen(*attribute) + 1;
        ++count;
    }
    m_heldStorage.resize(storage);
    m_heldAttributes.resize(count + 1);
    char* target = m_heldStorage.data();
    for (std::size_t i = 0; i < count; ++i)
    {
        std::size_t const length = std::strlen(attributes[i]) + 1;
        std::memcpy(target, attributes[i], length);
        m_heldAttributes[i] = target;
        target += length;
    }
    m_heldAttributes[count] = nullptr;
    XML_SetCharacterDataHandler(m_parser, ExpatEvents::Text);
}

void MSAXReader::DispatchHeldStartTag()
{
    m_holding = false;
    XML_SetCharacterDataHandler(m_parser, nullptr);
    SetAttributes(m_heldAttributes.data());
    Dispatch(m_heldName.c_str());
}

void MSAXReader::DispatchHeldStartTagAt(std::int64_t position)
{
    m_text.clear();
    m_position = position;
    try
    {
        DispatchHeldStartTag();
    }
    catch (...)
    {
        m_position = -1;
        throw;
    }
    m_position = -1;
}

void MSAXReader::Dispatch(char const* name)
{
    SetTag(m_tag, name);
    m_attributeMapValid = false;
    ++m_depth;
    bool const taken = m_handlers.back().handler->HandleTag(m_tag, *this);
    SetAttributes(nullptr);
    m_attributeMapValid = false;
    // The document element is never skipped: root handlers that only know
    // the children (relationships, content types) answer false for it.
    if (!taken && m_depth > 1)
    {
        DropHandlersAbove(m_depth - 1);
        --m_depth;
        m_skipping = 1;
    }
}

void MSAXReader::DropHandlersAbove(std::size_t depth)
{
    while (m_handlers.back().depth > depth)
    {
        ISAXPersist* const handler = m_handlers.back().handler;
        m_handlers.pop_back();
        delete handler;
    }
}
