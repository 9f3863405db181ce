// One-call reading and writing of a document rooted in a persist object.
#include "sax/SaxUtilities.h"

#include "common/StringConversion.h"
#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"

#include <fstream>

namespace OndAM::SaxUtilities
{
bool ReadStream(std::istream& stream, ISAXPersist& root)
{
    MSAXReader reader(root);
    return reader.Parse(stream);
}

bool WriteStream(std::ostream& stream, ISAXPersist const& root, WriteOptions const& options)
{
    MSAXWriter writer(stream, options.m_style);
    if (options.m_declaration)
    {
        writer.WriteDeclaration(options.m_byteOrderMark);
    }
    if (!options.m_comment.empty())
    {
        writer.WriteComment(options.m_comment);
    }
    bool written = true;
    if (options.m_rootElement.empty())
    {
        written = root.Write(writer);
    }
    else
    {
        MSAXTagWriter element(writer, options.m_rootElement);
        if (!options.m_defaultNamespace.empty())
        {
            writer.WriteAttribute(L"xmlns", options.m_defaultNamespace);
        }
        written = root.Write(writer);
    }
    return writer.Flush() && written;
}

bool WriteFile(std::wstring const& path, ISAXPersist const& root, WriteOptions const& options)
{
    std::ofstream file(StringConversion::ConvertNativeToFileName(path), std::ios::binary | std::ios::trunc);
    if (!file)
    {
        return false;
    }
    bool const written = WriteStream(file, root, options);
    file.close();
    return written && !file.fail();
}
} // namespace OndAM::SaxUtilities
