// Reading packages in the tests as the importer does, with what the read
// context says afterwards, and the XML of objects and items.
#pragma once

#include "import/ImportSupport.h"
#include "support/SlicerPackages.h"

#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "triangles/MStlBase.h"

#include <memory>
#include <string>
#include <vector>

namespace slicer
{
inline std::string MeshObject(int id, std::string const& content)
{
    return "<object id=\"" + std::to_string(id) + "\" type=\"model\">" + content + "</object>";
}

inline std::string Item(int id, std::string const& attributes = "")
{
    return "<item objectid=\"" + std::to_string(id) + "\" " + attributes + "/>";
}

// A read by the model file of plain meshes, as the importer does it, with
// what the context says afterwards.
struct StlRead
{
    Format_3MF::ModelFileStlBase model;
    Format_3MF::Package package{&model};
    Format_3MF::PackageRead reader{&package, Format_3MF::PackageReadOptions()};
    bool ok = false;
    std::vector<std::unique_ptr<MStlBase>> meshes;

    explicit StlRead(std::wstring const& file)
    {
        ok = reader.Read(file, nullptr);
        for (std::uint64_t i = 0; i < model.GetNumStls(); ++i)
        {
            meshes.emplace_back(model.GetStl(i));
        }
    }

    std::string Error() const
    {
        auto const& errors = reader.GetContext().m_errors;
        return errors.empty() ? std::string() : StringConversion::ConvertNativeToUTF8(errors.front());
    }

    std::string Warnings() const { return Joined(reader.GetContext().m_warnings); }

    // Model files of the package with that part name (without the leading
    // slash): one for a part read once.
    std::size_t ModelFilesNamed(std::wstring const& name) const
    {
        std::size_t count = 0;
        for (Format_3MF::IPackageFile const* file : package.GetPackageFiles())
        {
            if (dynamic_cast<Format_3MF::ModelFile const*>(file) != nullptr &&
                file->GetFileNameInPackageWithoutLeadingSlash() == name)
            {
                ++count;
            }
        }
        return count;
    }
};
} // namespace slicer
