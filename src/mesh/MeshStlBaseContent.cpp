// Preparing a mesh for writing: its colours, corner colours and textures
// become property groups, image parts and relationships of the model, and
// each triangle is left with at most one reference for the writer to print.
#include "format3mf/MeshStlBase.h"

#include "format3mf/ColorText.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Image2D.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWriteContext.h"
#include "format3mf/PropertyValues.h"
#include "format3mf/Texture2D.h"

#include "triangles/MStlBase.h"
#include "triangles/MStlColorMaskTrianglePoints.h"

#include <algorithm>
#include <stdexcept>
#include <string>

namespace Format_3MF
{
namespace
{
// The object type of the part flags: support and solid is a solid support.
int ObjectTypeOf(MStlBase const& stl)
{
    if (stl.m_partIsSupport)
    {
        return stl.m_partIsSolid ? 2 : 1;
    }
    return stl.m_partIsSolid ? 0 : 3;
}

bool HoldsTexture(Materials const& materials, Texture2D const* texture)
{
    return std::any_of(materials.m_textures.begin(), materials.m_textures.end(),
                       [texture](auto const& held) { return held.get() == texture; });
}

// "/3D/Textures2D/<name>.png", with " (2)", " (3)", ... before the extension
// while an image of that name is in the package. The name is taken as it
// stands: one read from "a.png" gives "a.png.png".
std::wstring TexturePartName(Package const& package, std::wstring name)
{
    if (name.empty())
    {
        name = L"unnamed";
    }
    std::wstring candidate = FolderTextures + name + ExtensionPng;
    for (int copy = 2; dynamic_cast<Image2D const*>(package.GetPackageFile(candidate)) != nullptr; ++copy)
    {
        candidate = FolderTextures + name + L" (" + std::to_wstring(copy) + L")" + ExtensionPng;
    }
    return candidate;
}

std::uint32_t Index(int index)
{
    return static_cast<std::uint32_t>(index);
}
} // namespace

void MeshStlBase::AddContentForWriting(PackageWriteContext* context, MeshStlBaseRegistry& registry)
{
    // The part must be listed before writing begins, which fixes the list.
    // It belongs to the part that holds the object, whose "binary" attribute
    // a reader follows, and so comes after it in the list.
    if (context->IsBinary)
    {
        m_object->m_modelFile->EnsureBinary(context);
    }
    if (m_stl == nullptr)
    {
        return;
    }
    m_object->m_type = ObjectTypeOf(*m_stl);

    // Every mesh gets a default colour, so that one without triangle colours
    // still shows its material in the file.
    Materials& materials = m_modelFile->GetResources().m_materials;
    std::uint32_t const color = m_stl->GetMaterial().GetRGB();
    bool const newGroup = context->Ondl.IsNewGroupPerMesh;
    if (context->Ondl.IsBaseMaterialDefault)
    {
        BaseMaterialGroup* const group = materials.GetBaseMaterialGroup(newGroup);
        m_object->m_propertyIndex =
            group->AddValue(BaseMaterial(L"BaseMaterialColor_" + EncodeColor(color), color), true);
        m_object->m_propertyGroup = group;
    }
    else
    {
        ColorGroup* const group = materials.GetColorGroup(newGroup);
        m_object->m_propertyIndex = group->AddValue(Color(color), true);
        m_object->m_propertyGroup = group;
    }

    MStlColorMaskTrianglePoints const* const mask = MStlColorMaskTrianglePoints::FirstOf(*m_stl);
    if (m_stl->HasTriangleColors() || mask != nullptr)
    {
        _AddTriangleColors(context, mask);
    }
    std::vector<std::pair<MStlTexture*, Texture2DGroup*>> textures;
    _AddTextures(context, registry, textures);
    // Any namespace will do here; which dialect it names matters only to
    // the lattice's own writer.
    std::wstring const& beamNamespace = context->Graphs.BeamNamespace;
    if (!beamNamespace.empty())
    {
        m_beamLattice = CreateBeamLattice(false);
        if (m_beamLattice)
        {
            m_modelFile->AddNamespace(beamNamespace, PrefixBeamLattice);
        }
    }
    _AddTextureCoordinates(textures);
    _FoldIntoMultiProperties();
}

// Corner colours win over the triangle's colour; one undefined corner voids
// all three. A triangle with neither keeps the object's default.
void MeshStlBase::_AddTriangleColors(PackageWriteContext* context, MStlColorMaskTrianglePoints const* mask)
{
    auto* group = dynamic_cast<ColorGroup*>(m_object->m_propertyGroup);
    if (group == nullptr)
    {
        // The default went into a base material; triangle colours need a
        // colour group, and the default moves there with them.
        group = m_modelFile->GetResources().m_materials.GetColorGroup(context->Ondl.IsNewGroupPerMesh);
        m_object->m_propertyIndex = group->AddValue(Color(m_stl->GetMaterial().GetRGB()), true);
        m_object->m_propertyGroup = group;
    }
    InitTriangleProperties();
    MStlBase const& stl = *m_stl;
    MStlColorTrianglePoints const none;
    for (auto triangle = stl.BeginTriangle(), end = stl.EndTriangle(); triangle != end; ++triangle)
    {
        MStlColorTrianglePoints const& corners = mask != nullptr ? mask->GetInfo(*triangle) : none;
        MStlColor const* const colors = corners.m_colors;
        if (colors[0].IsDefined() && colors[1].IsDefined() && colors[2].IsDefined())
        {
            TriangleProperty property{group, Index(group->AddValue(Color(colors[0].GetRGB()), true)),
                                      Index(group->AddValue(Color(colors[1].GetRGB()), true)),
                                      Index(group->AddValue(Color(colors[2].GetRGB()), true))};
            m_triangleProperties->GetInfo(*triangle).push_back(property);
        }
        else if (triangle->GetColor().IsDefined())
        {
            std::uint32_t const index = Index(group->AddValue(Color(triangle->GetColor().GetRGB()), true));
            m_triangleProperties->GetInfo(*triangle).push_back(TriangleProperty{group, index, index, index});
        }
    }
}

// One Texture2D and image part per bitmap for the whole package; one
// coordinate group per texture of each mesh. A texture without pixels (one
// left undecoded when it was read) has no image to write: its triangles go
// without it, and the write says so.
void MeshStlBase::_AddTextures(PackageWriteContext* context, MeshStlBaseRegistry& registry,
                               std::vector<std::pair<MStlTexture*, Texture2DGroup*>>& made)
{
    Materials& materials = m_modelFile->GetResources().m_materials;
    for (MStlTexture* const source : m_stl->GetTextures())
    {
        if (source->GetBitmap().IsEmpty())
        {
            std::wstring const object = m_object->m_name.empty()
                                            ? L"object " + std::to_wstring(m_object->m_id)
                                            : L"\"" + m_object->m_name + L"\"";
            context->m_warnings.push_back(L"The texture \"" + source->GetName() + L"\" of " + object +
                                          L" has no pixels (it was not decoded when read); its " +
                                          std::to_wstring(source->GetNumTriangles()) +
                                          L" triangles are written without it.");
            continue;
        }
        OndSDK::Common::ImageBitmap const* const bitmap = source->GetSharedBitmap().get();
        Texture2D* texture = registry.GetRegisteredTexture(bitmap);
        if (texture != nullptr && !HoldsTexture(materials, texture))
        {
            // The image is written once; a model part other than the one that
            // first showed it gets a texture resource and a relationship of
            // its own to the same image.
            auto owned = std::make_unique<Texture2D>();
            owned->m_image = texture->m_image;
            owned->m_path = texture->m_path;
            owned->m_contentType = texture->m_contentType;
            texture = owned.get();
            m_modelFile->Register(*texture, -1);
            materials.m_textures.push_back(std::move(owned));
            m_modelFile->GetRelsFile().AddRelationship(Relationship{
                texture->m_path, m_modelFile->m_package->GetNewRelationString(), RelationshipTexture});
        }
        if (texture == nullptr)
        {
            Package& package = *m_modelFile->m_package;
            auto owned = std::make_unique<Texture2D>();
            texture = owned.get();
            texture->m_path = TexturePartName(package, source->GetName());
            texture->m_contentType = ContentTypePng;
            m_modelFile->Register(*texture, -1);
            materials.m_textures.push_back(std::move(owned));
            m_modelFile->GetRelsFile().AddRelationship(
                Relationship{texture->m_path, package.GetNewRelationString(), RelationshipTexture});
            auto image = std::make_shared<Image2D>(texture->m_path);
            texture->m_image = image.get();
            registry.RegisterTexture(texture, bitmap);
            image->m_bitmap = bitmap != nullptr
                                  ? source->GetSharedBitmap()
                                  : std::make_shared<OndSDK::Common::ImageBitmap>(source->GetBitmap());
            package.AddPackageFile(std::shared_ptr<IPackageFile>(std::move(image)), true, m_modelFile);
        }
        auto group = std::make_unique<Texture2DGroup>();
        group->m_texid = texture->m_id;
        m_modelFile->Register(*group, -1);
        registry.RegisterTextureGroup(group.get(), source);
        made.emplace_back(source, group.get());
        materials.m_texture2DGroups.push_back(std::move(group));
    }
}

// Each group is walked on its own: a triangle's entries still come in the
// order of the textures, after its colour.
void MeshStlBase::_AddTextureCoordinates(std::vector<std::pair<MStlTexture*, Texture2DGroup*>> const& made)
{
    MStlBase const& stl = *m_stl;
    for (auto const& [texture, group] : made)
    {
        InitTriangleProperties();
        for (auto triangle = stl.BeginTriangle(), end = stl.EndTriangle(); triangle != end; ++triangle)
        {
            MStlTriangle const* const element = triangle;
            if (!texture->HasTriangle(element))
            {
                continue;
            }
            MStlTextureCoordinates coordinates;
            texture->GetCoordinates(element, coordinates, true);
            TriangleProperty const property{
                group, Index(group->AddValue(Texture2DCoord(coordinates.m_u1, coordinates.m_v1), true)),
                Index(group->AddValue(Texture2DCoord(coordinates.m_u2, coordinates.m_v2), true)),
                Index(group->AddValue(Texture2DCoord(coordinates.m_u3, coordinates.m_v3), true))};
            m_triangleProperties->GetInfo(*triangle).push_back(property);
        }
    }
}

// A triangle with a colour and textures, or with two textures, refers to one
// multi property per corner that combines its entries in their order.
void MeshStlBase::_FoldIntoMultiProperties()
{
    if (!m_triangleProperties)
    {
        return;
    }
    Materials& materials = m_modelFile->GetResources().m_materials;
    MStlBase const& stl = *m_stl;
    std::vector<tReferenceID> pids;
    for (auto triangle = stl.BeginTriangle(), end = stl.EndTriangle(); triangle != end; ++triangle)
    {
        std::vector<TriangleProperty>& entry = m_triangleProperties->GetInfo(*triangle);
        if (entry.size() < 2)
        {
            continue;
        }
        pids.clear();
        for (TriangleProperty const& property : entry)
        {
            pids.push_back(property.m_group->m_id);
        }
        MultiPropertyGroup* const group = materials.GetMultiPropertyGroup(pids);
        std::uint32_t corners[3];
        for (int corner = 0; corner < 3; ++corner)
        {
            MultiProperty value;
            for (TriangleProperty const& property : entry)
            {
                std::uint32_t const index = corner == 0   ? property.m_p1
                                            : corner == 1 ? property.m_p2
                                                          : property.m_p3;
                value.m_pindices.push_back(static_cast<int>(index));
            }
            corners[corner] = Index(group->AddValue(value, true));
        }
        entry.assign(1, TriangleProperty{group, corners[0], corners[1], corners[2]});
    }
}
} // namespace Format_3MF
