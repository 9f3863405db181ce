// The lookups that let a write reuse one texture and one texture group for
// meshes that share an image.
#include "format3mf/MeshStlBase.h"

namespace Format_3MF
{
namespace
{
template <typename Key, typename Value>
Value* Find(std::map<Key, Value*> const& map, Key key)
{
    auto const found = map.find(key);
    return found == map.end() ? nullptr : found->second;
}
} // namespace

void MeshStlBaseRegistry::RegisterTexture(Texture2D* texture, OndSDK::Common::ImageBitmap const* bitmap)
{
    m_texturesOfBitmaps[bitmap] = texture;
}

Texture2D* MeshStlBaseRegistry::GetRegisteredTexture(OndSDK::Common::ImageBitmap const* bitmap) const
{
    return Find(m_texturesOfBitmaps, bitmap);
}

void MeshStlBaseRegistry::RegisterTextureGroup(Texture2DGroup* group, MStlTexture const* texture)
{
    m_groupsOfTextures[texture] = group;
}

Texture2DGroup* MeshStlBaseRegistry::GetRegisteredTextureGroup(MStlTexture const* texture) const
{
    return Find(m_groupsOfTextures, texture);
}
} // namespace Format_3MF
