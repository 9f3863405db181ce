// A 3MF file to meshes: reads through a private model file and package and
// hands the flattened meshes to the caller, with a status for each failure.
#include "format3mf/Importer.h"

#include "format3mf/Exception.h"
#include "format3mf/MergeStl.h"
#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "common/StringConversion.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlTexture.h"
#include "zip/MZipArchiveError.h"

#include <map>
#include <stdexcept>

namespace format3mf::import
{
namespace
{
// The read's status mapped to the importer's: crossed on purpose, since the
// reader's 1 (no root model) is a read failure and its 2 an archive failure.
Importer::ErrorStatus StatusOf(std::int32_t readStatus)
{
    switch (readStatus)
    {
    case 2:
        return Importer::ExtractionFailed;
    case 3:
        return Importer::Canceled;
    default:
        return Importer::ReadFailed;
    }
}
} // namespace

Importer::ErrorStatus Importer::Operate(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress)
{
    Format_3MF::ModelFileStlBase model;
    model.SetReadProjectParts(m_readProjectParts);
    model.SetItemSelection(m_selectItems);
    Format_3MF::PackageReadOptions options;
    options.IsSkipTextures = !m_importTextures;
    Format_3MF::Package package(&model);
    Format_3MF::PackageRead reader(&package, options);
    m_errors.clear();
    m_warnings.clear();
    m_roles.clear();
    bool read = false;
    try
    {
        read = reader.Read(m_fileName, progress);
    }
    catch (MZipArchiveError::MFileNotFound const& error)
    {
        m_warnings = reader.GetContext().m_warnings;
        m_errors.push_back(error.GetMessage() + L": " + error.GetDetail());
        return ReadFailed;
    }
    catch (std::invalid_argument const& error)
    {
        m_warnings = reader.GetContext().m_warnings;
        m_errors.push_back(StringConversion::ConvertMultiByteStringToOndString(error.what()));
        return ReadFailed;
    }
    catch (Format_3MF::Exception const& error)
    {
        m_warnings = reader.GetContext().m_warnings;
        m_errors.push_back(error.m_message);
        return ReadFailed;
    }
    catch (...)
    {
        // Passed on to the caller, but what the read said on the way stays.
        m_warnings = reader.GetContext().m_warnings;
        throw;
    }
    m_errors = reader.GetContext().m_errors;
    m_warnings = reader.GetContext().m_warnings;
    // The meshes are ours from here on, also those a missing output vector
    // can't take.
    std::vector<std::unique_ptr<MStlBase>> parts;
    std::vector<Format_3MF::PartRole> roles;
    for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
    {
        parts.emplace_back(model.GetStl(i));
        roles.push_back(model.GetStlRole(i));
    }
    if (!read)
    {
        return StatusOf(reader.GetContext().m_status);
    }
    if (m_outputParts == nullptr)
    {
        throw std::logic_error("Importer: no output vector was set.");
    }
    // As one part, the printable parts go into one mesh: the caller's last
    // part, else the first of them. Parts that are not printed stay meshes of
    // their own with their roles: merged, they would be printed.
    MStlBase* onePart = m_importAsOnePart && !m_outputParts->empty() ? m_outputParts->back().get() : nullptr;
    // The caller's part counts among the parts of this import once a part
    // goes into it; it stands before every part appended.
    bool callersRoleDue = onePart != nullptr;
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        bool const printable = roles[i] == Format_3MF::PartRole::Printable;
        if (!printable && !m_importNonPrintableParts)
        {
            continue;
        }
        if (m_importAsOnePart && printable && onePart != nullptr)
        {
            MergeStlInto(parts[i].get(), onePart);
            if (callersRoleDue)
            {
                m_roles.insert(m_roles.begin(), Format_3MF::PartRole::Printable);
                callersRoleDue = false;
            }
            continue;
        }
        if (m_importAsOnePart && printable)
        {
            onePart = parts[i].get();
        }
        m_outputParts->push_back(std::move(parts[i]));
        m_roles.push_back(roles[i]);
    }
    for (auto const& part : *m_outputParts)
    {
        ConsolidateTextures(part.get());
    }
    return Success;
}

void Importer::ConsolidateTextures(MStlBase* part)
{
    std::map<OndSDK::Common::ImageBitmap const*, MStlTexture*> firstOfBitmap;
    std::vector<MStlTexture*> emptied;
    for (MStlTexture* texture : part->GetTextures())
    {
        auto const [entry, fresh] = firstOfBitmap.try_emplace(texture->GetSharedBitmap().get(), texture);
        if (fresh)
        {
            continue;
        }
        MStlTexture* const target = entry->second;
        std::vector<MStlTriangle const*> const triangles = texture->GetTriangles();
        for (MStlTriangle const* triangle : triangles)
        {
            if (target->HasTriangle(triangle))
            {
                continue;
            }
            MStlTextureCoordinates coordinates;
            texture->GetCoordinates(triangle, coordinates, true);
            target->AddTriangle(triangle, coordinates, true);
            texture->RemoveTriangle(triangle);
        }
        if (texture->GetNumTriangles() == 0)
        {
            emptied.push_back(texture);
        }
    }
    for (MStlTexture* texture : emptied)
    {
        part->GetTextureFactory(true)->RemoveTexture(texture);
    }
}
} // namespace format3mf::import
