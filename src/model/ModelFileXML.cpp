// Reading and writing the root "model" element, with the warnings and errors
// for extensions a file requires.
#include "model/ModelFileXML.h"

#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"
#include "format3mf/ReadAttribute.h"
#include "foundation/PartNames.h"
#include "model/BuildXML.h"
#include "model/MetaDataXML.h"

#include "common/BranchingProgressReporter.h"
#include "common/IncrementalProgressReporter.h"
#include "sax/SAXWriter.h"

#include <map>
#include <memory>
#include <sstream>

namespace Format_3MF
{
namespace
{
constexpr wchar_t kUnsupported[] = L"Unsupported 3mf extension found";
constexpr wchar_t kPartiallySupported[] = L"Partially supported 3mf extension found";

bool IsCore(std::wstring const& uri)
{
    return uri == NamespaceCore2015 || uri == NamespaceCore2013;
}
} // namespace

ModelFileRead::ModelFileRead(ModelFile* modelFile, PackageReadContext* context)
    : XMLReadHandler(context), m_modelFile(modelFile)
{
}

bool ModelFileRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);
    if (tag == L"model")
    {
        _ReadNamespaces(reader);
        std::wstring unit;
        reader.GetAttributeString(unit, L"unit");
        m_modelFile->GetUnits().Init(unit);
        _ReadRequiredExtensions(reader);
        std::wstring binary;
        if (reader.GetAttributeString(binary, L"binary"))
        {
            _ReadBinaryPart(binary);
        }
        return true;
    }
    if (m_context->Package.m_analyseOnly)
    {
        return false;
    }
    if (MetaDataGroupRead(&m_modelFile->GetMetaData(), m_context).HandleTag(tag, reader))
    {
        return true;
    }
    if (tag == L"resources")
    {
        if (ISAXReadHelper* handler = m_modelFile->GetResources()._CreateSaxHandlerRead(m_context, this))
        {
            reader.PushHandler(handler);
        }
        return true;
    }
    if (tag == L"build")
    {
        auto* build = new BuildRead(&m_modelFile->GetBuild(), m_context, this,
                                    m_modelFile->GetPrefix(NamespaceProduction));
        reader.PushHandler(build);
        build->HandleAttributes(reader);
        return true;
    }
    return false;
}

void ModelFileRead::_ReadNamespaces(MSAXReader& reader)
{
    UpdateNamespaces(reader);
    _ReadMisplacedCore();
    for (auto const& [prefix, uri] : GetNamespaces())
    {
        m_modelFile->AddNamespace(uri, prefix);
    }
    m_slicePrefix = m_modelFile->GetPrefix(NamespaceSlice);
    m_toolPathPrefix = m_modelFile->GetPrefix(NamespaceToolPath);
    m_ondamxPrefix = m_modelFile->GetPrefix(NamespaceOndAMX);
}

// Some versions of Cura made their own namespace the default and bound a
// prefix to the core namespace that they never used, so that every element
// stands outside the core namespace. Other readers take the geometry all the
// same; so does this one, and says what it did.
void ModelFileRead::_ReadMisplacedCore()
{
    std::map<std::wstring, std::wstring> const namespaces = GetNamespaces();
    auto const base = namespaces.find(L"");
    if (base == namespaces.end() || IsCore(base->second))
    {
        return;
    }
    for (auto const& [prefix, uri] : namespaces)
    {
        if (IsCore(uri))
        {
            _Warn(L"The default namespace " + base->second +
                  L" stands where the 3MF core namespace belongs; read as " + uri);
            AddNamespace(L"", uri);
            return;
        }
    }
}

void ModelFileRead::_ReadRequiredExtensions(MSAXReader& reader)
{
    std::wstring required;
    reader.GetAttributeString(required, L"requiredextensions");
    std::wistringstream words(required);
    std::wstring word;
    while (words >> word)
    {
        m_modelFile->AddRequiredExtension(word);
    }

    std::wstring base = m_modelFile->GetNamespace(L"");
    if (base.empty())
    {
        base = NamespaceCore2015;
        _Warn(L"No base namespace found");
    }
    switch (m_modelFile->GetSupportedExtension(base).m_level)
    {
    case 2:
        _Warn(std::wstring(kPartiallySupported) + L": " + base);
        break;
    case 1:
        _Unsupported(base);
        break;
    default:
        break;
    }

    for (std::wstring const& prefix : m_modelFile->GetRequiredExtensions())
    {
        std::wstring const uri = m_modelFile->GetNamespace(prefix);
        tSupportedExtension const extension = m_modelFile->GetSupportedExtension(uri);
        if (uri.empty() || extension.m_level == 1)
        {
            _Unsupported(uri.empty() ? L"prefix " + prefix : uri);
        }
        else if (extension.m_level == 2)
        {
            _Warn(std::wstring(kPartiallySupported) + L": " + uri);
        }
    }
}

void ModelFileRead::_Unsupported(std::wstring const& uri)
{
    if (m_context->Package.m_failOnUnsupportedExtension)
    {
        m_context->m_errors.emplace_back(kUnsupported);
        throw Exception(kUnsupported);
    }
    // Unlike the error, the warning says which extension: a reader that goes
    // on should tell its user what it could not understand.
    _Warn(std::wstring(kUnsupported) + L": " + uri);
}

void ModelFileRead::_Warn(std::wstring const& text)
{
    m_context->m_warnings.push_back(text + L" (in " + m_modelFile->GetFileNameInPackage() + L")");
}

// The part is read as the meshes ask for its blocks, from an archive object
// of its own: the model's entry is being read from the main one.
void ModelFileRead::_ReadBinaryPart(std::wstring const& name)
{
    m_modelFile->SetBinaryFileForReading(name);
}

ModelFileWrite::ModelFileWrite(ModelFile const* modelFile, PackageWriteContext* context,
                               std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
    : XMLWriteHandler(context), m_modelFile(modelFile), m_progress(std::move(progress))
{
}

bool ModelFileWrite::Write(MSAXWriter& writer) const
{
    OndSDK::Common::BranchingProgressReporter reporter(m_progress, "Format3MF::ModelFileWrite::Write", true);
    writer.WriteAttribute(L"unit", m_modelFile->GetUnits().m_name);
    writer.WriteAttribute(L"xml:lang", L"en-US");
    for (xml_Namespace const& entry : m_modelFile->GetNamespaces())
    {
        writer.WriteAttribute(entry.m_prefix.empty() ? std::wstring(L"xmlns").c_str()
                                                     : (L"xmlns:" + entry.m_prefix).c_str(),
                              entry.m_uri);
    }
    std::wstring required;
    for (std::wstring const& prefix : m_modelFile->GetRequiredExtensions())
    {
        if (!required.empty())
        {
            required += L' ';
        }
        required += prefix;
    }
    writer.WriteAttribute(L"requiredextensions", required);
    if (ModelFileBinary const* binary = m_modelFile->GetBinaryFile())
    {
        writer.WriteAttribute(L"binary", binary->GetFileNameInPackage());
    }
    MetaDataGroupWrite(&m_modelFile->GetMetaData(), m_context, nullptr).Write(writer);
    {
        auto nested = reporter.CreateNestedDelegate(1.0);
        MSAXTagWriter resources(writer, "resources");
        std::unique_ptr<ISAXWriteHelper> helper(
            m_modelFile->GetResources()._CreateSaxHandlerWrite(m_context, nested));
        helper->Write(writer);
    }
    if (reporter.IsCancelled())
    {
        return false;
    }
    MSAXTagWriter build(writer, "build");
    BuildWrite(&m_modelFile->GetBuild(), m_context).Write(writer);
    return true;
}
} // namespace Format_3MF
