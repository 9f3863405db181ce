// What the mesh reading tests share: model XML builders, a model file that
// gives objects host meshes, and a package read of both.
#pragma once

#include "support/MeshDump.h"
#include "support/PackageTestSupport.h"
#include "support/TestModelFile.h"

#include "format3mf/Image2D.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageRead.h"

#include "common/StringConversion.h"

#include <functional>

// A model file whose objects get host meshes, owned by their bindings.
class StlMeshModelFile : public TestModelFile
{
public:
    using TestModelFile::TestModelFile;

protected:
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override
    {
        return new StlMeshModelFile(name, this);
    }
    Format_3MF::IMesh* _CreateMesh(Format_3MF::Object* object,
                                   Format_3MF::PackageReadContext* context) override
    {
        auto* const mesh = new Format_3MF::MeshStlBase(nullptr, this, object, context);
        mesh->SetStl(new MStlBase(), true);
        return mesh;
    }
};

inline std::string MeshModel(std::string const& resources, std::string const& unit = "millimeter")
{
    return R"(<model unit=")" + unit +
           R"(" xmlns="http://schemas.microsoft.com/3dmanufacturing/core/2015/02" xmlns:m="http://schemas.microsoft.com/3dmanufacturing/material/2015/02"><resources>)" +
           resources + "</resources><build/></model>";
}

// Three corners of a unit right triangle and the triangles given, in an
// object with the attributes given.
inline std::string TriangleObject(std::string const& triangles, std::string const& objectAttributes = "")
{
    return R"(<object id="10" )" + objectAttributes +
           R"(><mesh><vertices><vertex x="0" y="0" z="0"/><vertex x="1" y="0" z="0"/>)"
           R"(<vertex x="0" y="1" z="0"/><vertex x="1" y="1" z="0"/></vertices><triangles>)" +
           triangles + "</triangles></mesh></object>";
}

// Reads a package made of the model XML and further entries.
struct MeshRead
{
    PackageScratch scratch;
    StlMeshModelFile model;
    Format_3MF::Package package{&model};
    std::unique_ptr<Format_3MF::PackageRead> reader;
    bool ok = false;

    explicit MeshRead(std::string const& xml, Format_3MF::PackageReadOptions const& options = {},
                      std::vector<std::pair<std::string, std::string>> const& entries = {},
                      std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress = {},
                      std::function<void(std::wstring const&)> const& damage = {})
        : reader(std::make_unique<Format_3MF::PackageRead>(&package, options))
    {
        std::wstring const file = scratch.File("mesh.3mf");
        WriteModelPackage(file, xml, entries);
        if (damage)
        {
            damage(file);
        }
        ok = reader->Read(file, progress);
    }

    Format_3MF::MeshStlBase* Mesh(int objectId = 10) const
    {
        auto* const object = ObjectOf(&model, objectId);
        return object == nullptr ? nullptr : dynamic_cast<Format_3MF::MeshStlBase*>(object->m_mesh.get());
    }
    MStlBase& Stl(int objectId = 10) const { return *Mesh(objectId)->GetStl(false); }
    Format_3MF::Image2D const* Image(std::wstring const& name) const
    {
        return dynamic_cast<Format_3MF::Image2D const*>(package.GetPackageFile(name));
    }
    std::string Error() const
    {
        auto const& errors = reader->GetContext().m_errors;
        return errors.empty() ? std::string() : StringConversion::ConvertNativeToUTF8(errors.front());
    }
};
