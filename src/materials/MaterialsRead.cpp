// Reading property groups and textures out of "resources", entering each in
// the model under its id.
#include "materials/MaterialsRead.h"

#include "format3mf/ColorText.h"
#include "format3mf/Exception.h"
#include "format3mf/FormatIdentifiers.h"
#include "format3mf/Image2D.h"
#include "format3mf/Materials.h"
#include "format3mf/ModelFile.h"
#include "format3mf/Package.h"
#include "format3mf/ReadAttribute.h"

#include "common/IncrementalProgressReporter.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Format_3MF
{
namespace
{
// Appends a new group (or texture) to its list and enters it in the model
// under `id`; the model settles clashes and hands out an id for -1. The list
// takes it first, so the model never refers to an object that nobody owns.
template <typename T>
T& AddRegistered(std::vector<std::unique_ptr<T>>& list, ModelFile& model, tReferenceID id)
{
    list.push_back(std::make_unique<T>());
    T& item = *list.back();
    model.Register(item, id);
    return item;
}

// The group that value elements of its kind go to, or null before the first.
template <typename T>
T* OpenGroup(std::vector<std::unique_ptr<T>> const& list)
{
    return list.empty() ? nullptr : list.back().get();
}
} // namespace

MaterialsRead::MaterialsRead(PackageReadContext* context, Materials* materials, ModelFile* modelFile)
    : XMLReadHandler(context), m_materials(materials), m_modelFile(modelFile),
      m_prefix(modelFile->GetPrefix(NamespaceMaterial))
{
}

// A value element before any group of its kind ("base", "color", "tex2coord"
// or "multi" with nothing open) is taken and ignored. The dispatch is by local
// name in any namespace, so such an element may as well belong to an
// extension this library doesn't know, and refusing it would fail a file
// that is otherwise fine; a triangle that refers to the missing value fails
// on its own, with the index in the message.
bool MaterialsRead::HandleTag(std::wstring const& tag, MSAXReader& reader)
{
    _ReportProgress(reader);

    std::size_t const colon = tag.find(L':');
    std::size_t const localStart = colon == std::wstring::npos ? 0 : colon + 1;
    std::wstring const local = tag.substr(localStart);
    bool const readTextures = !m_context->IsSkipTextures;

    if (local == L"basematerials")
    {
        return _ReadBaseMaterials(reader);
    }
    if (local == L"base")
    {
        return _ReadBase(reader);
    }
    if (local == L"colorgroup")
    {
        return _ReadColorGroup(reader);
    }
    if (local == L"color")
    {
        return _IsNamespace2013(tag, localStart) ? _ReadColor2013(reader) : _ReadColor(reader);
    }
    if (local == L"material")
    {
        return _IsNamespace2013(tag, localStart) && _ReadMaterial2013(reader);
    }
    if (readTextures && local == L"texture2d")
    {
        return _ReadTexture(reader);
    }
    if (readTextures && local == L"texture2dgroup")
    {
        return _ReadTextureGroup(reader);
    }
    if (readTextures && local == L"tex2coord")
    {
        return _ReadTextureCoordinate(reader);
    }
    if (local == L"multiproperties")
    {
        return _ReadMultiProperties(reader);
    }
    if (local == L"multi")
    {
        return _ReadMulti(reader);
    }
    return false;
}

// The namespace of a tag is the one the model declared for its prefix; a tag
// without a prefix stands in the model's default namespace.
bool MaterialsRead::_IsNamespace2013(std::wstring const& tag, std::size_t localStart) const
{
    std::wstring const prefix = localStart == 0 ? std::wstring() : tag.substr(0, localStart - 1);
    return m_modelFile->GetNamespace(prefix) == NamespaceCore2013;
}

// "basematerials" is a core element: its id carries no prefix.
bool MaterialsRead::_ReadBaseMaterials(MSAXReader& reader)
{
    tReferenceID id;
    if (!ReadAttribute(reader, L"id", id))
    {
        return false;
    }
    AddRegistered(m_materials->m_baseMaterialGroups, *m_modelFile, id);
    return true;
}

// Appended past the duplicate check, so the group's own index stays empty and
// two equal materials keep two indices.
bool MaterialsRead::_ReadBase(MSAXReader& reader)
{
    BaseMaterialGroup* const group = OpenGroup(m_materials->m_baseMaterialGroups);
    std::wstring color;
    std::wstring name;
    if (group != nullptr && ReadAttribute(reader, L"displaycolor", color) &&
        ReadAttribute(reader, L"name", name))
    {
        group->m_values.emplace_back(name, DecodeColor(color));
    }
    return true;
}

bool MaterialsRead::_ReadColorGroup(MSAXReader& reader)
{
    tReferenceID id;
    if (!ReadAttribute(reader, L"id", id, &m_prefix))
    {
        return false;
    }
    AddRegistered(m_materials->m_colorGroups, *m_modelFile, id);
    return true;
}

bool MaterialsRead::_ReadColor(MSAXReader& reader)
{
    ColorGroup* const group = OpenGroup(m_materials->m_colorGroups);
    std::wstring color;
    if (group != nullptr && ReadAttribute(reader, L"color", color, &m_prefix))
    {
        group->AddValue(Color(DecodeColor(color)), false);
    }
    return true;
}

// The 2013 core had a colour as a resource of its own. It becomes a group with
// that one colour, so index 0 of the group is what a triangle addresses.
bool MaterialsRead::_ReadColor2013(MSAXReader& reader)
{
    tReferenceID id;
    std::wstring value;
    if (!ReadAttribute(reader, L"id", id, &m_prefix) || !ReadAttribute(reader, L"value", value, &m_prefix))
    {
        return false;
    }
    unsigned int const color = DecodeColor(value);
    AddRegistered(m_materials->m_colorGroups, *m_modelFile, id).AddValue(Color(color), false);
    return true;
}

// The 2013 core named a material and referred to a colour resource for its
// colour. It becomes a base material group of one, coloured with the first
// value of that colour group. The type was never used for anything.
bool MaterialsRead::_ReadMaterial2013(MSAXReader& reader)
{
    tReferenceID id;
    tReferenceID colorId;
    std::wstring name;
    std::wstring type;
    if (!ReadAttribute(reader, L"id", id, &m_prefix) || !ReadAttribute(reader, L"name", name, &m_prefix) ||
        !ReadAttribute(reader, L"colorid", colorId, &m_prefix) ||
        !ReadAttribute(reader, L"type", type, &m_prefix))
    {
        return false;
    }
    auto const* colors = dynamic_cast<ColorGroup const*>(m_modelFile->GetReference(colorId));
    if (colors == nullptr)
    {
        return false;
    }
    // An empty group has no first colour: GetValue throws, naming the group.
    std::uint32_t const color = colors->GetValue(0).m_color;
    AddRegistered(m_materials->m_baseMaterialGroups, *m_modelFile, id)
        .AddValue(BaseMaterial(name, color), false);
    return true;
}

// Textures that name the same image part share one Image2D, so the image is
// read once. The part is listed without a relationship: the model's own
// relationships already point at it.
bool MaterialsRead::_ReadTexture(MSAXReader& reader)
{
    tReferenceID id;
    if (!ReadAttribute(reader, L"id", id, &m_prefix))
    {
        return false;
    }
    Texture2D& texture = AddRegistered(m_materials->m_textures, *m_modelFile, id);
    ReadAttribute(reader, L"path", texture.m_path, &m_prefix);
    ReadAttribute(reader, L"contenttype", texture.m_contentType, &m_prefix);

    Package& package = *m_context->m_package;
    texture.m_image = dynamic_cast<Image2D*>(package.GetPackageFile(texture.m_path));
    if (texture.m_image == nullptr)
    {
        auto image = std::make_shared<Image2D>(texture.m_path);
        texture.m_image = image.get();
        package.AddPackageFile(std::move(image), false, nullptr);
    }
    return true;
}

bool MaterialsRead::_ReadTextureGroup(MSAXReader& reader)
{
    tReferenceID id;
    if (!ReadAttribute(reader, L"id", id, &m_prefix))
    {
        return false;
    }
    Texture2DGroup& group = AddRegistered(m_materials->m_texture2DGroups, *m_modelFile, id);
    ReadAttribute(reader, L"texid", group.m_texid, &m_prefix);
    return true;
}

bool MaterialsRead::_ReadTextureCoordinate(MSAXReader& reader)
{
    Texture2DGroup* const group = OpenGroup(m_materials->m_texture2DGroups);
    if (group != nullptr)
    {
        Texture2DCoord coordinate;
        ReadAttribute(reader, L"u", coordinate.m_u, &m_prefix);
        ReadAttribute(reader, L"v", coordinate.m_v, &m_prefix);
        group->AddValue(coordinate, false);
    }
    return true;
}

bool MaterialsRead::_ReadMultiProperties(MSAXReader& reader)
{
    tReferenceID id;
    if (!ReadAttribute(reader, L"id", id, &m_prefix))
    {
        return false;
    }
    MultiPropertyGroup& group = AddRegistered(m_materials->m_multiPropertyGroups, *m_modelFile, id);
    ReadAttribute(reader, L"pids", group.m_pids, &m_prefix);
    return true;
}

// The indices follow the same list rule as identifiers: blanks behind the
// last number add one entry of -1, which no group has, and the text is never
// refused. The positions must stay those of "pids", so nothing is dropped.
bool MaterialsRead::_ReadMulti(MSAXReader& reader)
{
    MultiPropertyGroup* const group = OpenGroup(m_materials->m_multiPropertyGroups);
    std::vector<tReferenceID> indices;
    if (group != nullptr && ReadAttribute(reader, L"pindices", indices, &m_prefix))
    {
        group->AddValue(MultiProperty(std::vector<int>(indices.begin(), indices.end())), false);
    }
    return true;
}
} // namespace Format_3MF
