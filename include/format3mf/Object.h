#pragma once

// Objects of a model: mesh, components or both, with the references 3MF
// attaches to them.

#include "common/OndExport.h"
#include "format3mf/Component.h"
#include "format3mf/CustomFile.h"
#include "format3mf/IMesh.h"
#include "format3mf/MetaData.h"
#include "format3mf/ProductionItem.h"
#include "format3mf/ReferenceID.h"

#include <memory>
#include <string>
#include <vector>

namespace Format_3MF
{
class ModelFile;
struct ISliceStack;
struct PackageReadContext;
struct PackageWriteContext;

// The "object" element: a mesh, components or both, with its type, default
// property, UUID, thumbnail and links to slice data and tool paths.
class OND_EXPORT Object : public IReferenced, public ProductionItem
{
public:
    // The resource of this identifier in that model part; a null part means
    // the object's own. Resolved on use, since the part may be read later.
    struct ReferenceToOtherModelFile
    {
        tReferenceID m_id;
        ModelFile* m_modelFile = nullptr;
    };

    explicit Object(ModelFile* modelFile) : m_modelFile(modelFile) {}
    ~Object() override;
    Object(Object const&) = delete;
    Object& operator=(Object const&) = delete;

    ModelFile* GetModelFile() { return m_modelFile; }
    ModelFile const* GetModelFile() const { return m_modelFile; }
    // The slice stack referred to, or null.
    ISliceStack* _GetSliceStack() const;

    virtual void _OnStartWriting(PackageWriteContext* context);
    virtual void _OnStopWriting(PackageWriteContext* context);
    virtual void _OnStartReading(PackageReadContext* context);
    virtual void _OnStopReading(PackageReadContext* context);

    ModelFile* m_modelFile;
    std::unique_ptr<IMesh> m_mesh;
    ReferenceToOtherModelFile m_sliceStack;
    std::vector<ReferenceToOtherModelFile> m_toolPaths;
    int m_type = 0;                         // 0 model, 1 support, 2 solid support, 3 other
    IReferenced* m_propertyGroup = nullptr; // not owned
    int m_propertyIndex = -1;
    std::wstring m_name;
    std::wstring m_meshResolution;
    std::vector<Component> m_components;
    tReferenceID m_ondamxID;
    std::wstring m_ondamxUUID;
    std::unique_ptr<ThumbnailExternalFile> m_thumbnail;
    MetaDataGroup m_metaData;
};
} // namespace Format_3MF
