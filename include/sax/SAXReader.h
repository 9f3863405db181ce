#pragma once

// The SAX reader that drives persist objects from an XML stream or buffer.

#include "common/OndExport.h"
#include "sax/NumberParsing.h"

#include <cstdint>
#include <exception>
#include <iosfwd>
#include <map>
#include <string>
#include <vector>

class IReadBuffer;
class ISAXPersist;
struct XML_ParserStruct;

namespace OndSAX
{
class SAXFeed;

// What a persist object sees of the reader while it handles a start tag.
// Attribute values are kept as the parser delivers them (UTF-8), as a list
// of name and value pairs closed by a null name; the typed reads below work
// on them directly, without building the attribute map or wide strings.
class OND_EXPORT ISAXReader
{
public:
    virtual ~ISAXReader();

    // Makes `child` the receiver of the content of the element whose start
    // tag is being handled, and takes ownership of it: the child is deleted
    // when that element ends (or when reading stops early).
    virtual void PushHandler(ISAXPersist* child) = 0;
    // The character data of the element that has just begun, up to its first
    // child element or its end.
    virtual void GetText(std::wstring& out) = 0;
    // The attributes of the current start tag, keyed by qualified name.
    virtual std::map<std::wstring, std::wstring> const& GetAttributes() = 0;
    // The number of input bytes up to the end of the current markup. For a
    // start tag that was held back for its text (see MSAXReader), that is
    // the markup which ended the text.
    virtual std::int64_t GetPosition() = 0;
    // One attribute as text; `out` is empty and the result false if missing.
    virtual bool GetAttributeString(std::wstring& out, std::wstring const& name) = 0;

    // One attribute as a number (int, std::int64_t, std::uint64_t, float or
    // double). False, with `value` left alone, if the attribute is missing or
    // is not a number of that type (see ParseNumber).
    template <typename T>
    bool ReadAttribute(T& value, std::wstring const& name)
    {
        char const* const text = FindAttribute(name);
        return text != nullptr && ParseNumber(text, value);
    }

    // The raw attributes of the current start tag: name, value, name, value,
    // ..., nullptr; names as written, values in UTF-8.
    char const* const* RawAttributes() const { return m_attributes; }

protected:
    // The UTF-8 value of the attribute called `name` in the current start
    // tag, or nullptr.
    char const* FindAttribute(std::wstring const& name);
    // The general case, for a name with characters beyond ASCII.
    char const* FindAttributeUTF8(std::wstring const& name);
    // Sets the attribute list of the start tag now being handled.
    void SetAttributes(char const* const* attributes)
    {
        m_attributes = attributes;
        m_nextAttribute = 0;
    }

private:
    char const* const* m_attributes = nullptr;
    std::size_t m_nextAttribute = 0;

    std::string m_nameBuffer;
};
} // namespace OndSAX

// The reader of one document: an expat parser without namespace processing,
// so tags reach the handlers as written, and a stack of handlers.
//
// Protocol:
// - Each start tag goes to HandleTag of the handler on top of the stack. If
//   it answers false, the element and everything inside it is skipped: no
//   callback at all for its content or its end tag. The document element is
//   the exception: its content is read whatever the root answers, since a
//   root handler may know only the children.
// - Handlers pushed while an element's start tag is handled receive the
//   content of that element. When the element ends they are deleted first;
//   then HandleEndTag goes to the handler now on top, which is the one that
//   took the start tag. So every HandleTag that answered true is matched by
//   one HandleEndTag on the same object. Handlers pushed from HandleEndTag
//   receive nothing and are deleted at once; handlers pushed by a HandleTag
//   that answers false are deleted at once as well.
// - A start tag is handed over once its own leading character data is
//   complete (at the next start or end tag), so GetText works in HandleTag.
//   Empty-element tags ("<a/>") are handed over at once.
// - Documents with a document type declaration are refused: package XML has
//   none, and it is what carries entity expansion and external entity
//   attacks. No external entity is ever loaded.
// - An exception thrown by a handler stops the parse and leaves Parse
//   unchanged once the reader has cleaned up.
// - Children of an element may bypass the parser in plain form, when the
//   handler that takes the element asks for it (see PlainContent.h).
class OND_EXPORT MSAXReader final : public OndSAX::ISAXReader
{
public:
    explicit MSAXReader(ISAXPersist& root);
    ~MSAXReader() override;
    MSAXReader(MSAXReader const&) = delete;
    MSAXReader& operator=(MSAXReader const&) = delete;

    // Reads the whole document from the stream, block by block. False if the
    // document is not well-formed, is refused, or the stream fails. Calls
    // ResolveReferences and InitAfterLoading on the root when it succeeds.
    // A reader parses one document only.
    bool Parse(std::istream& stream);
    // The same from a buffer, without a stream between: the bytes are
    // handed to the parser, or scanned as plain content, where they lie.
    bool Parse(IReadBuffer& source);
    // The input bytes that went past the parser as plain content.
    std::int64_t GetBypassedBytes() const { return m_bypassed; }
    // Why Parse answered false, for a user: the parser's own message with the
    // line and column where it stopped, or the reason the document was
    // refused. Empty while nothing has failed.
    std::wstring GetErrorMessage() const;

    void PushHandler(ISAXPersist* child) override;
    void GetText(std::wstring& out) override;
    std::map<std::wstring, std::wstring> const& GetAttributes() override;
    std::int64_t GetPosition() override;
    bool GetAttributeString(std::wstring& out, std::wstring const& name) override;

private:
    friend struct ExpatEvents;
    friend class OndSAX::SAXFeed;

    struct Handler
    {
        ISAXPersist* handler;
        // Depth of the element the handler was pushed for; 0 for the root.
        std::size_t depth;
    };

    void OnStart(char const* name, char const** attributes);
    void OnEnd(char const* name);
    void OnText(char const* text, int length);
    void Refuse();
    void Fail(std::exception_ptr error);

    bool IsEmptyElementTag() const;
    void HoldStartTag(char const* name, char const** attributes);
    void DispatchHeldStartTag();
    // The same, with the position of the markup that ended its text given,
    // for a start tag whose content bypasses the parser.
    void DispatchHeldStartTagAt(std::int64_t position);
    void Dispatch(char const* name);
    void DropHandlersAbove(std::size_t depth);

    XML_ParserStruct* m_parser;
    std::vector<Handler> m_handlers;
    std::size_t m_depth = 0;
    // Elements still open inside a skipped element, that one included.
    std::size_t m_skipping = 0;
    // Set once the parse was stopped from a callback; later events are ignored.
    bool m_stopped = false;
    // Set when the document itself was refused rather than found malformed.
    bool m_refusedDocumentType = false;
    std::exception_ptr m_error;

    // Input bytes that bypassed the parser: the parser's offsets are behind
    // the document's by this much.
    std::int64_t m_bypassed = 0;
    // The position GetPosition gives while plain content is handed over;
    // negative when the parser's is current.
    std::int64_t m_position = -1;

    // The start tag held back until its character data is complete, and
    // where it lies in the document.
    bool m_holding = false;
    std::int64_t m_heldBegin = 0;
    std::int64_t m_heldEnd = 0;
    std::string m_heldName;
    std::string m_text;
    std::vector<char> m_heldStorage;
    std::vector<char const*> m_heldAttributes;

    std::wstring m_tag;
    // m_tag already holds the name of the next end tag.
    bool m_tagIsCurrent = false;
    std::map<std::wstring, std::wstring> m_attributeMap;
    bool m_attributeMapValid = false;
};
