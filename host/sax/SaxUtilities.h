#pragma once

// Shortcuts to parse a stream into a persist object or print one, with the few
// output choices a document has.

#include <cstdint>
#include <iosfwd>
#include <string>

class IReadBuffer;
class ISAXPersist;

namespace OndAM::SaxUtilities
{
// How a document is printed.
struct WriteOptions
{
    // Put a UTF-8 byte order mark in front of the document.
    bool m_byteOrderMark = false;
    // Print the XML declaration.
    bool m_declaration = true;
    // The document element, opened around the root's Write. When empty, the
    // root prints its document element itself.
    std::wstring m_rootElement;
    // A default namespace declared on the document element, if not empty.
    std::wstring m_defaultNamespace;
    // A comment printed in front of the document element, if not empty.
    std::wstring m_comment;
    // 0: compact, 1: indented; see MSAXWriter.
    std::int32_t m_style = 0;
};

// Reads a whole document from the stream and drives `root` and the handlers
// it pushes (see MSAXReader). False if the document is malformed or refused,
// or the stream fails; exceptions thrown by handlers pass through.
bool ReadStream(std::istream& stream, ISAXPersist& root);

// Prints the declaration, opens the document element, calls root.Write and
// closes the element. False if Write answers false or the stream fails;
// exceptions thrown by Write pass through.
bool WriteStream(std::ostream& stream, ISAXPersist const& root, WriteOptions const& options);

// The same into a new file at `path`, replacing an existing one.
bool WriteFile(std::wstring const& path, ISAXPersist const& root, WriteOptions const& options);
} // namespace OndAM::SaxUtilities
