// The shared steps of reading and writing a streaming XML part.
#include "package/PartXML.h"

#include "format3mf/Exception.h"
#include "format3mf/PackageRead.h"
#include "format3mf/PackageWrite.h"

#include "sax/SAXReader.h"
#include "sax/SaxUtilities.h"
#include "zip/IReadBuffer.h"

#include <memory>
#include <ostream>

namespace Format_3MF
{
void ReadPartXML(IPackageFile const& part, PackageReadContext* context, ISAXPersist& root)
{
    std::unique_ptr<IReadBuffer> const buffer = context->m_packageRead->CreatePartReadBuffer(&part);
    if (!buffer)
    {
        return;
    }
    MSAXReader reader(root);
    if (!reader.Parse(*buffer))
    {
        throw MalformedPartXML(L"The XML of " + part.GetFileNameInPackage() + L" is malformed: " +
                               reader.GetErrorMessage());
    }
}

void WritePartXML(IPackageFile const& part, PackageWriteContext* context, ISAXPersist const& root,
                  wchar_t const* rootElement)
{
    OndAM::SaxUtilities::WriteOptions options;
    options.m_declaration = true;
    options.m_rootElement = rootElement;
    options.m_style = context->m_xmlStyle ? 1 : 0;
    std::unique_ptr<std::ostream> stream(context->m_packageWrite->CreatePartOutputStream(part));
    if (stream)
    {
        OndAM::SaxUtilities::WriteStream(*stream, root, options);
    }
    else
    {
        OndAM::SaxUtilities::WriteFile(part.GetFileNameUnpacked(), root, options);
    }
}
} // namespace Format_3MF
