#pragma once

// Objects' meshes held as MStlBase, with the colour, texture and displacement
// data that 3MF attaches to triangles.

#include "common/ImageBitmap.h"
#include "common/OndExport.h"
#include "format3mf/IMesh.h"
#include "format3mf/ReferenceID.h"

#include "triangles/MDataMask.h"
#include "triangles/MStlTriangle.h"

#include <cstdint>
#include <map>
#include <memory>
#include <utility>
#include <vector>

class MStlBase;
class MStlColorMaskTrianglePoints;
class MStlTexture;

namespace Format_3MF
{
class IPropertyGroup;
class Texture2D;
class Texture2DGroup;

// A displacement map of a mesh, in the vendor's own namespace: a coordinate
// group and the displacements of white and black, as the file gives them.
// The library carries them; nothing here applies them to the geometry.
struct DisplacementMap
{
    Texture2DGroup* m_group = nullptr; // not owned
    double m_white = 0;
    double m_black = 0;
};

// Which image and which coordinate group stand for the host's bitmaps and
// textures while one package is written, so that a bitmap shared by several
// meshes is stored once. It owns nothing it maps.
class OND_EXPORT MeshStlBaseRegistry
{
public:
    // An existing entry is replaced.
    void RegisterTexture(Texture2D* texture, OndSDK::Common::ImageBitmap const* bitmap);
    // Null when the bitmap has none.
    Texture2D* GetRegisteredTexture(OndSDK::Common::ImageBitmap const* bitmap) const;
    // An existing entry is replaced.
    void RegisterTextureGroup(Texture2DGroup* group, MStlTexture const* texture);
    // Null when the texture has none.
    Texture2DGroup* GetRegisteredTextureGroup(MStlTexture const* texture) const;

    std::map<OndSDK::Common::ImageBitmap const*, Texture2D*> m_texturesOfBitmaps;
    std::map<MStlTexture const*, Texture2DGroup*> m_groupsOfTextures;
};

// The mesh of an object as a host triangle mesh. Points and triangles live in
// the MStlBase only; what the binding adds is what 3MF has and the host mesh
// has not: per triangle, the reference into a property group that the file
// gave, until it is turned into host colours and textures at the end of
// reading.
class OND_EXPORT MeshStlBase : public IMesh, public IReferenced
{
public:
    // A reference from a triangle into a property group: the group and an
    // index for each corner.
    struct TriangleProperty
    {
        IPropertyGroup* m_group = nullptr; // not owned
        std::uint32_t m_p1 = 0xFFFFFFFFu;
        std::uint32_t m_p2 = 0xFFFFFFFFu;
        std::uint32_t m_p3 = 0xFFFFFFFFu;
    };

    using TrianglePropertyMask = MDataMask<MStlTriangle, std::vector<TriangleProperty>>;

    // For reading: sets the fields only. The binding does not own `stl`
    // until SetStl(stl, true) says so.
    MeshStlBase(MStlBase* stl, ModelFile* modelFile, Object* object, PackageReadContext* context);
    // For writing: sets the fields and prepares the model at once with
    // AddContentForWriting. The binding does not own `stl` either.
    MeshStlBase(MStlBase* stl, ModelFile* modelFile, Object* object, PackageWriteContext* context,
                MeshStlBaseRegistry& registry);
    ~MeshStlBase() override;
    MeshStlBase(MeshStlBase const&) = delete;
    MeshStlBase& operator=(MeshStlBase const&) = delete;

    // Binds another host mesh; a different mesh that was owned is deleted.
    void SetStl(MStlBase* stl, bool own);
    // With `release`, the caller takes the mesh over; it stays bound.
    MStlBase* GetStl(bool release);
    bool GetOwnStl() const { return m_ownStl; }

    // A new lattice on the bound mesh for the caller to store, or null when
    // the mesh has no graphs and `force` is false.
    std::unique_ptr<BeamLatticeStlBase> CreateBeamLattice(bool force);

    // Makes the per-triangle property references on the bound mesh, once.
    void InitTriangleProperties();

    // Turns the colours, corner colours and textures of the bound mesh into
    // property groups, images and relationships of the model, sets the
    // object's type and default property, and leaves each triangle with at
    // most one property reference for the writer to print. Runs once,
    // before writing starts. With the binary option it first makes the
    // model's binary part, which the writer fills.
    void AddContentForWriting(PackageWriteContext* context, MeshStlBaseRegistry& registry);

    // The host texture that stands for a coordinate group, made with
    // `create` on first use: it shows the bitmap of the group's image.
    MStlTexture* GetTexture(Texture2DGroup* group, bool create);

    ISAXReadHelper* _CreateSaxHandlerRead(PackageReadContext* context, ISAXReadHelper* parent) override;
    ISAXWriteHelper*
    _CreateSaxHandlerWrite(PackageWriteContext* context,
                           std::shared_ptr<OndSDK::Common::IProgressDelegate> progress) const override;
    // Declares the displacement namespace, as a required extension, when the
    // mesh has displacement maps. The lattice's hooks are not called.
    void _OnStartWriting(PackageWriteContext* context) override;
    void _OnStopWriting(PackageWriteContext* context) override;
    void _OnStartReading(PackageReadContext* context) override;
    // Sets the part flags and the default colour of the host mesh, and turns
    // the property references into host colours and textures.
    void _OnStopReading(PackageReadContext* context) override;

    // The host texture made for each group on reading.
    std::map<Texture2DGroup*, MStlTexture*> m_texturesOfGroups;
    // May be null on a mesh that holds only vertices.
    MStlBase* m_stl;
    // Null until the first reference is noted; at most one entry a triangle
    // on reading and once prepared for writing.
    std::unique_ptr<TrianglePropertyMask> m_triangleProperties;
    // In document order; filled by reading only.
    std::vector<DisplacementMap> m_displacementMaps;
    bool m_ownStl = false;

protected:
    // Applies one property reference to its triangle.
    void _AssignProperty(MStlTriangle& triangle, TriangleProperty const& property);

private:
    // The steps of AddContentForWriting that need more than a few lines.
    void _AddTriangleColors(PackageWriteContext* context, MStlColorMaskTrianglePoints const* mask);
    void _AddTextures(PackageWriteContext* context, MeshStlBaseRegistry& registry,
                      std::vector<std::pair<MStlTexture*, Texture2DGroup*>>& made);
    void _AddTextureCoordinates(std::vector<std::pair<MStlTexture*, Texture2DGroup*>> const& made);
    void _FoldIntoMultiProperties();

    void _AssignMultiProperty(MStlTriangle& triangle, TriangleProperty const& property);
    // Set while reading without textures: a multi property's layer may then
    // name a texture group that was never read.
    bool m_texturesSkipped = false;
    void _AssignTextureCoordinates(MStlTriangle& triangle, TriangleProperty const& property);
    void _DecodeShownImages(PackageReadContext* context);
};
} // namespace Format_3MF
