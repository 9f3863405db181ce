// A minimal model file and object helpers, so that the package layer can be
// tested without meshes.
#pragma once

#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"

// The smallest concrete model file: it carries no meshes and no extension
// resources, so the package layer can be tested on its own.
class TestModelFile : public Format_3MF::ModelFile
{
public:
    explicit TestModelFile(std::wstring const& name = L"", ModelFile* parent = nullptr)
        : ModelFile(name, parent)
    {
    }

protected:
    ModelFile* _CreateRelatedModelFile(std::wstring const& name) override
    {
        return new TestModelFile(name, this);
    }
    Format_3MF::IMesh* _CreateMesh(Format_3MF::Object*, Format_3MF::PackageReadContext*) override
    {
        return nullptr;
    }
    Format_3MF::ISliceStack* _CreateSliceStack(Format_3MF::PackageReadContext*) override { return nullptr; }
    Format_3MF::IToolPath* _CreateToolPath(Format_3MF::PackageReadContext*) override { return nullptr; }
    Format_3MF::ModelFileItem* _CreateResourceOndAMX(Format_3MF::PackageReadContext*) override
    {
        return nullptr;
    }
};

// A new object of the file, registered under `id`.
inline Format_3MF::Object* NewObject(Format_3MF::ModelFile& file, int id)
{
    auto* object = new Format_3MF::Object(&file);
    file.GetResources().m_objects.emplace_back(object);
    file.Register(*object, id);
    return object;
}

// The object registered under `id`, or null.
inline Format_3MF::Object* ObjectOf(Format_3MF::ModelFile const* file, int id)
{
    return file != nullptr ? dynamic_cast<Format_3MF::Object*>(file->GetReference(id)) : nullptr;
}
