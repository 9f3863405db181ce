// Resolving a read mesh's property references into colours and textures once
// all of the mesh is in.
#include "format3mf/MeshStlBase.h"

#include "format3mf/Exception.h"
#include "format3mf/Image2D.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Object.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PropertyValues.h"
#include "format3mf/Texture2D.h"
#include "mesh/PartFlags.h"

#include "triangles/MStlBase.h"

#include <string>
#include <utility>

// Turning the property references of a read mesh into host colours and
// textures, once the whole mesh is there.
namespace Format_3MF
{
namespace
{
std::wstring Id(tReferenceID id)
{
    return std::to_wstring(int(id));
}

// The last element of a part name, extension included.
std::wstring FileNameOfPart(std::wstring const& name)
{
    std::size_t const slash = name.find_last_of(L'/');
    return slash == std::wstring::npos ? name : name.substr(slash + 1);
}

void SetDefaultColor(MStlBase& stl, Object const& object)
{
    if (object.m_propertyGroup == nullptr || object.m_propertyIndex == -1)
    {
        return;
    }
    if (auto const* colors = dynamic_cast<ColorGroup const*>(object.m_propertyGroup))
    {
        stl.GetMaterial().SetRGB(colors->GetValue(object.m_propertyIndex).m_color);
    }
    else if (auto const* materials = dynamic_cast<BaseMaterialGroup const*>(object.m_propertyGroup))
    {
        stl.GetMaterial().SetRGB(materials->GetValue(object.m_propertyIndex).m_color);
    }
}

// Indices are kept unsigned; the all-ones "none" turns into -1, which no
// group has, so GetValue refuses it like any other index out of range.
int AsIndex(std::uint32_t index)
{
    return static_cast<int>(index);
}
} // namespace

void MeshStlBase::_OnStopReading(PackageReadContext* context)
{
    SetPartFlags(*m_stl, m_object->m_type);
    SetDefaultColor(*m_stl, *m_object);
    m_texturesSkipped = context->IsSkipTextures;
    if (m_triangleProperties)
    {
        // The references go once applied, also when applying one fails.
        std::unique_ptr<TrianglePropertyMask> const properties = std::move(m_triangleProperties);
        TrianglePropertyMask const& entries = *properties;
        for (auto triangle = m_stl->BeginTriangle(), end = m_stl->EndTriangle(); triangle != end; ++triangle)
        {
            std::vector<TriangleProperty> const& entry = entries.GetInfo(*triangle);
            if (!entry.empty())
            {
                _AssignProperty(*triangle, entry.front());
            }
        }
        _DecodeShownImages(context);
    }
    if (m_tetraheders)
    {
        m_tetraheders->_OnStopReading(context);
    }
}

// Colours are flat: a triangle takes the colour of its first corner. A later
// colour overwrites an earlier one.
void MeshStlBase::_AssignProperty(MStlTriangle& triangle, TriangleProperty const& property)
{
    IPropertyGroup* const group = property.m_group;
    if (auto const* materials = dynamic_cast<BaseMaterialGroup const*>(group))
    {
        triangle.SetColor(MStlColor(materials->GetValue(AsIndex(property.m_p1)).m_color));
    }
    else if (auto const* colors = dynamic_cast<ColorGroup const*>(group))
    {
        triangle.SetColor(MStlColor(colors->GetValue(AsIndex(property.m_p1)).m_color));
    }
    else if (dynamic_cast<MultiPropertyGroup const*>(group) != nullptr)
    {
        _AssignMultiProperty(triangle, property);
    }
    else if (dynamic_cast<Texture2DGroup const*>(group) != nullptr)
    {
        _AssignTextureCoordinates(triangle, property);
    }
}

// Each position of the group's pids is applied as a reference of its own.
// An undefined id is what blanks behind the last id of the list leave: it
// names nothing and is passed over. A multi property inside a multi property
// is refused, since one naming itself would never end.
void MeshStlBase::_AssignMultiProperty(MStlTriangle& triangle, TriangleProperty const& property)
{
    auto const& multi = static_cast<MultiPropertyGroup const&>(*property.m_group);
    MultiProperty const* const corners[3] = {&multi.GetValue(AsIndex(property.m_p1)),
                                             &multi.GetValue(AsIndex(property.m_p2)),
                                             &multi.GetValue(AsIndex(property.m_p3))};
    for (std::size_t i = 0; i < multi.m_pids.size(); ++i)
    {
        tReferenceID const id = multi.m_pids[i];
        if (!id.IsDefined())
        {
            continue;
        }
        auto* const group = dynamic_cast<IPropertyGroup*>(m_modelFile->GetReference(id));
        if (group == nullptr && m_texturesSkipped && m_modelFile->GetReference(id) == nullptr)
        {
            continue;
        }
        if (group == nullptr)
        {
            throw Exception(L"Multi property group " + Id(multi.m_id) + L" names " + Id(id) +
                            L", which is no property group.");
        }
        if (dynamic_cast<MultiPropertyGroup const*>(group) != nullptr)
        {
            throw Exception(L"Multi property group " + Id(multi.m_id) + L" names the multi property group " +
                            Id(id) + L".");
        }
        std::uint32_t indices[3];
        for (int corner = 0; corner < 3; ++corner)
        {
            std::vector<int> const& pindices = corners[corner]->m_pindices;
            if (i >= pindices.size())
            {
                throw Exception(L"A multi property of group " + Id(multi.m_id) + L" has " +
                                std::to_wstring(pindices.size()) + L" indices for " +
                                std::to_wstring(multi.m_pids.size()) + L" groups.");
            }
            indices[corner] = static_cast<std::uint32_t>(pindices[i]);
        }
        _AssignProperty(triangle, TriangleProperty{group, indices[0], indices[1], indices[2]});
    }
}

void MeshStlBase::_AssignTextureCoordinates(MStlTriangle& triangle, TriangleProperty const& property)
{
    auto* const group = static_cast<Texture2DGroup*>(property.m_group);
    Texture2DCoord const& first = group->GetValue(AsIndex(property.m_p1));
    Texture2DCoord const& second = group->GetValue(AsIndex(property.m_p2));
    Texture2DCoord const& third = group->GetValue(AsIndex(property.m_p3));
    MStlTextureCoordinates coordinates;
    coordinates.m_u1 = first.m_u;
    coordinates.m_v1 = first.m_v;
    coordinates.m_u2 = second.m_u;
    coordinates.m_v2 = second.m_v;
    coordinates.m_u3 = third.m_u;
    coordinates.m_v3 = third.m_v;
    GetTexture(group, true)->AddTriangle(&triangle, coordinates, true);
}

// Only the images that triangles show are decoded, in the order of their
// coordinate groups in the file, so that the package's pixel budget goes to
// the same images on every read.
void MeshStlBase::_DecodeShownImages(PackageReadContext* context)
{
    for (auto const& group : m_modelFile->GetResources().m_materials.m_texture2DGroups)
    {
        if (m_texturesOfGroups.count(group.get()) == 0)
        {
            continue;
        }
        auto* const texture = dynamic_cast<Texture2D*>(m_modelFile->GetReference(group->m_texid));
        if (texture != nullptr && texture->m_image != nullptr)
        {
            texture->m_image->Decode(context);
        }
    }
}

// Every triangle of one group lands in one host texture; two groups on one
// image give two textures that share its bitmap.
MStlTexture* MeshStlBase::GetTexture(Texture2DGroup* group, bool create)
{
    auto const found = m_texturesOfGroups.find(group);
    if (found != m_texturesOfGroups.end())
    {
        return found->second;
    }
    if (!create)
    {
        return nullptr;
    }
    // Checked before the texture is made, so that a bad group leaves none.
    auto const* const texture = dynamic_cast<Texture2D const*>(m_modelFile->GetReference(group->m_texid));
    if (texture == nullptr)
    {
        throw Exception(L"Texture group " + Id(group->m_id) + L" names the texture " + Id(group->m_texid) +
                        L", which does not exist.");
    }
    MStlTexture* const made = m_stl->GetTextureFactory(true)->AddTexture();
    m_texturesOfGroups.emplace(group, made);
    if (Image2D const* const image = texture->m_image)
    {
        made->SetSharedBitmap(image->m_bitmap);
        made->SetName(FileNameOfPart(image->GetFileNameInPackage()));
    }
    return made;
}
} // namespace Format_3MF
