#pragma once

#include "format3mf/ModelFile.h"

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
