#pragma once

// The way bulk content bypasses the XML parser: a persist object that reads
// many small elements of one strict form (mesh vertices and triangles) takes
// them from the reader straight out of the input bytes.

#include <cstddef>
#include <cstdint>
#include <string_view>

class MSAXReader;

namespace OndSAX
{
// One attribute as written: its name, and its value between the quotes.
// Plain values hold no reference and no byte beyond ASCII, so they are what
// the parser would deliver, but for the white space it would turn into spaces.
struct PlainAttribute
{
    std::string_view m_name;
    std::string_view m_value;
};

// An element in plain form: an unprefixed name, unprefixed attributes that
// are each given once, and nothing inside it but white space and comments.
struct PlainElement
{
    static constexpr std::size_t kMaxAttributes = 16;

    std::string_view m_name;
    PlainAttribute m_attributes[kMaxAttributes];
    std::size_t m_count = 0;
};

// Implemented, beside ISAXPersist, by a persist object that can take the
// children of some elements in plain form. The reader asks it while the
// start tag of such an element is about to be handed over; from then on it
// hands each plain child to HandlePlainElement instead of to HandleTag. The
// first child that is not plain, and everything after it up to the end of the
// element, goes through the parser and HandleTag as usual.
class IPlainContentReader
{
public:
    virtual ~IPlainContentReader();

    // Whether the children of the element `tag` (unprefixed, as written),
    // whose start tag this object is about to get, may come in plain form.
    // The text of such an element is not collected: GetText gives nothing.
    virtual bool AcceptsPlainContent(std::string_view tag) = 0;
    // One plain child, with the reader's position at its end. Does what
    // HandleTag would do for it and answers true; or changes nothing at all
    // and answers false when it does not read this element in plain form.
    // Must not push handlers.
    virtual bool HandlePlainElement(PlainElement const& element, MSAXReader& reader) = 0;
};

// Whether readers use plain content at all: on by default. Switched off by
// tests and benchmarks that compare the two ways.
void SetPlainContentEnabled(bool enabled);
bool IsPlainContentEnabled();

// The bytes that the readers of the process have taken in plain form, added
// up as each reader goes: how a comparison of the two ways sees that the
// plain one was taken at all.
std::int64_t PlainContentBytesTaken();
void AddPlainContentBytesTaken(std::int64_t bytes);
} // namespace OndSAX
