#pragma once

// A model part: its namespaces, units, resources, build and metadata, and the
// registry of extensions it declares.

#include "common/OndExport.h"
#include "format3mf/Build.h"
#include "format3mf/CustomFile.h"
#include "format3mf/IPackageFile.h"
#include "format3mf/MetaData.h"
#include "format3mf/PackageFileBinary.h"
#include "format3mf/ReferenceID.h"
#include "format3mf/RelsFile.h"
#include "format3mf/Resources.h"
#include "format3mf/Units.h"

#include <map>
#include <memory>
#include <string>
#include <vector>

namespace Format_3MF
{
class Package;
class Object;
class IMesh;
struct ISliceStack;
struct IToolPath;

// A namespace of a model's root element; the default one has no prefix.
struct xml_Namespace
{
    std::wstring m_prefix;
    std::wstring m_uri;
};

// What this program understands of a namespace: 0 supported, 1 unsupported,
// 2 partially supported. Entries are equal when their URIs are.
struct tSupportedExtension
{
    std::wstring m_uri;
    int m_level = 1;

    bool operator==(tSupportedExtension const& other) const { return m_uri == other.m_uri; }
};

// A part that belongs to a model and takes part in its life cycle.
class OND_EXPORT IModelFile : public IPackageFile
{
public:
    // An empty name becomes "/3D/3dmodel.model".
    explicit IModelFile(std::wstring const& name);

    virtual void _OnStartWriting(PackageWriteContext* context) = 0;
    virtual void _OnStopWriting(PackageWriteContext* context) = 0;
    virtual void _OnStartReading(PackageReadContext* context) = 0;
    virtual void _OnStopReading(PackageReadContext* context) = 0;

    Package* m_package = nullptr;
};

// One .model part in memory: unit, namespaces, extensions, metadata,
// resources, build, the table of reference identifiers, and the related
// model parts that the root model owns. Concrete model files supply the
// creators of meshes and of the extension resources.
class OND_EXPORT ModelFile : public IModelFile, public RelationsOwner
{
public:
    ModelFile(std::wstring const& name, ModelFile* parent);
    ~ModelFile() override;
    ModelFile(ModelFile const&) = delete;
    ModelFile& operator=(ModelFile const&) = delete;

    double GetWriteProgressWeight() const override { return 0.5; }

    tUnits& GetUnits() { return m_units; }
    tUnits const& GetUnits() const { return m_units; }
    MetaDataGroup& GetMetaData() { return m_metaData; }
    MetaDataGroup const& GetMetaData() const { return m_metaData; }
    Resources& GetResources() { return *m_resources; }
    Resources const& GetResources() const { return *m_resources; }
    std::vector<xml_Namespace> const& GetNamespaces() const { return m_namespaces; }
    Build& GetBuild() { return m_build; }
    Build const& GetBuild() const { return m_build; }
    ModelFileBinary* GetBinaryFile() const { return m_binary.get(); }
    std::vector<std::unique_ptr<ModelFile>> const& GetModelFiles() const { return m_modelFiles; }
    ModelFile* GetParent() const { return m_parent; }
    // The model at the top of the chain of parents.
    ModelFile* GetRootModelFile();
    std::vector<std::wstring> const& GetRequiredExtensions() const { return m_requiredExtensions; }

    // Gives an identifier (the next one when `id` is -1) unless the item has
    // one, and enters the item under it, replacing an earlier entry.
    tReferenceID Register(IReferenced& item, tReferenceID id);
    IReferenced* GetReference(tReferenceID id) const;

    // The first prefix of a namespace stays.
    void AddNamespace(std::wstring const& uri, std::wstring const& prefix);
    std::wstring GetPrefix(std::wstring const& uri) const;
    std::wstring GetNamespace(std::wstring const& prefix) const;

    void AddRequiredExtension(std::wstring const& prefix);
    void AddSupportedExtension(std::wstring const& uri, bool full);
    tSupportedExtension GetSupportedExtension(std::wstring const& uri) const;

    // The model file of that part in this package: the root, or a related
    // model file of the root, made (owned by the root, this file its parent)
    // and registered with the package (a relationship from this part) if
    // there is none yet. A leading slash makes no difference to the name.
    ModelFile* AddRelatedModelFile(std::wstring const& name);
    // Among the related model files owned by this one.
    ModelFile* GetRelatedModelFile(std::wstring const& name) const;
    // "Objects/Object.model", "Objects/Object(2).model", ... beside this part.
    std::wstring GenerateRelatedObjectFileName(PackageWriteContext& context);
    std::wstring GenerateRelatedSliceFileName(PackageWriteContext& context);

    // Take ownership, append to the resources and give the next identifier.
    void AddObject(Object* object);
    void AddSliceStack(ISliceStack* slice, PackageWriteContext* context);
    void AddToolPath(IToolPath* path, PackageWriteContext* context);

    IMesh* CreateMesh(Object* object, PackageReadContext* context) { return _CreateMesh(object, context); }
    ISliceStack* CreateSliceStack(PackageReadContext* context) { return _CreateSliceStack(context); }
    IToolPath* CreateToolPath(PackageReadContext* context) { return _CreateToolPath(context); }
    ModelFileItem* CreateResourceOndAMX(PackageReadContext* context)
    {
        return _CreateResourceOndAMX(context);
    }

    // Makes the binary side part, "<this part>.bin", on a temporary file open
    // for writing, and registers it with the package.
    void EnsureBinary();
    // The same for a write under way: the temporary file goes beside the
    // write's target, on its disk, rather than among the library's
    // temporary files (which may be in memory).
    void EnsureBinary(PackageWriteContext* context);
    // Reading: the side part named by the model's "binary" attribute.
    ModelFileBinary* SetBinaryFileForReading(std::wstring const& name);
    void SetPrintTicket(std::shared_ptr<CustomFile> file);
    CustomFile const* GetPrintTicket() const;

    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopWriting(PackageWriteContext* context) override;
    void _OnStartReading(PackageReadContext* context) override;
    void _OnStopReading(PackageReadContext* context) override;

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override;
    bool _GetRelationInfo(std::wstring& type) const override;
    void _OnRead(PackageReadContext* context) override;
    void _OnWrite(PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) override;
    bool _OnCanStreamRead() const override { return true; }
    bool _OnCanStreamWrite() const override { return true; }
    // Under the analyse-only option: the part cut short before its resources.
    std::istream* _CreateInputStream(PackageReadContext const* context) const override;

    // For packages written from plain meshes: in the root model only, a build
    // item with the identity for every object of this and the related parts.
    void _MakeDummyBuild();

    virtual Resources* _CreateResources(ModelFile* modelFile);
    virtual ModelFile* _CreateRelatedModelFile(std::wstring const& name) = 0;
    virtual IMesh* _CreateMesh(Object* object, PackageReadContext* context) = 0;
    virtual ISliceStack* _CreateSliceStack(PackageReadContext* context) = 0;
    virtual IToolPath* _CreateToolPath(PackageReadContext* context) = 0;
    virtual ModelFileItem* _CreateResourceOndAMX(PackageReadContext* context) = 0;

private:
    // Drops what a related part's read left behind after it failed.
    void _DiscardReadContent(PackageReadContext* context);
    std::wstring _GenerateRelatedFileName(wchar_t const* folder, wchar_t const* file,
                                          std::uint32_t index) const;

    std::vector<xml_Namespace> m_namespaces;
    ModelFile* m_parent;
    int m_nextID = 1;
    std::map<tReferenceID, IReferenced*, std::less<int>> m_references;
    tUnits m_units;
    std::vector<std::wstring> m_requiredExtensions;
    std::vector<tSupportedExtension> m_supportedExtensions;
    MetaDataGroup m_metaData;
    std::unique_ptr<Resources> m_resources;
    Build m_build;
    std::vector<std::unique_ptr<ModelFile>> m_modelFiles;
    // The files of m_modelFiles by part name without the leading slash, so
    // that a file naming thousands of parts finds each one at once.
    std::map<std::wstring, ModelFile*> m_modelFilesByName;
    std::unique_ptr<ModelFileBinary> m_binary;
};

namespace Utilities
{
// This file, or a new related part of its own when objects go to separate files.
OND_EXPORT ModelFile* GetModelFileForNewObject(ModelFile* file, PackageWriteContext* context);
// A new object, registered in the file that the step above chooses.
OND_EXPORT Object* AddNewObject(ModelFile* file, PackageWriteContext* context);
} // namespace Utilities
} // namespace Format_3MF
