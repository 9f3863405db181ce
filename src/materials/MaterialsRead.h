// The reader of material, colour and texture elements in "resources", for the
// materials extension and the older core form alike.
#pragma once

#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include <string>

namespace Format_3MF
{
class Materials;
class ModelFile;

// Takes the elements of the materials extension, and the colours and
// materials of the core form of 2013, out of "resources" and fills a
// Materials. It is never pushed: the resources reader owns one and offers it
// every child element first. The open group of a kind is the last one in its
// list, so a value element goes to the group opened last, whichever element
// it stands in. Values keep the order of the file, which is their index.
class MaterialsRead : public ISAXReadHelper, public XMLReadHandler
{
public:
    // The prefix of the materials namespace is taken from the model now, so
    // the model's namespaces must have been read.
    MaterialsRead(PackageReadContext* context, Materials* materials, ModelFile* modelFile);

    // True when the element was taken. False for an element that is not one
    // of the materials, and for a group element that lacks what it needs:
    // then it is the caller's to handle or skip.
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override;

private:
    bool _IsNamespace2013(std::wstring const& tag, std::size_t localStart) const;

    bool _ReadBaseMaterials(MSAXReader& reader);
    bool _ReadBase(MSAXReader& reader);
    bool _ReadColorGroup(MSAXReader& reader);
    bool _ReadColor(MSAXReader& reader);
    bool _ReadColor2013(MSAXReader& reader);
    bool _ReadMaterial2013(MSAXReader& reader);
    bool _ReadTexture(MSAXReader& reader);
    bool _ReadTextureGroup(MSAXReader& reader);
    bool _ReadTextureCoordinate(MSAXReader& reader);
    bool _ReadMultiProperties(MSAXReader& reader);
    bool _ReadMulti(MSAXReader& reader);

    Materials* m_materials;
    ModelFile* m_modelFile;
    std::wstring m_prefix;
};
} // namespace Format_3MF
