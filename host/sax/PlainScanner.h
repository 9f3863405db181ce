#pragma once

// The strict scanner of plain content (see PlainContent.h): it takes one
// token of an element's content at a time and recognises only forms that the
// XML parser would accept and deliver the same way. Anything else it answers
// as Other, and the caller hands the bytes to the parser instead.

#include "sax/PlainContent.h"

#include <cstddef>

namespace OndSAX
{
enum class PlainToken
{
    // White space or a well-formed comment: nothing to deliver.
    Skip,
    // A plain element, with its end tag if it has one.
    Element,
    // An end tag; its name is in the element's m_name.
    EndTag,
    // The token may be plain but runs past the bytes given.
    More,
    // Not in plain form.
    Other,
};

struct PlainStep
{
    PlainToken m_token = PlainToken::Other;
    // Bytes of the token (Skip, Element, EndTag).
    std::size_t m_length = 0;
    // Element: bytes up to the end of its start tag.
    std::size_t m_startTagLength = 0;
};

// Scans the token at `text`. Element and EndTag fill `element`, whose views
// point into `text`.
PlainStep ScanPlain(char const* text, std::size_t size, PlainElement& element);
} // namespace OndSAX
