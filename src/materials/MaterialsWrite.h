// Prints the property groups and textures of a model into "resources", in an
// order in which every group stands after what it refers to.
#pragma once

#include "format3mf/XMLHandlers.h"
#include "format3mf/XMLPersistHelpers.h"

#include <memory>
#include <string>

namespace OndSDK::Common
{
class IProgressDelegate;
}

namespace Format_3MF
{
class Materials;

// Base materials, textures, colour groups, texture coordinate groups, then
// multi property groups; each value at its index. Cancellation stops between
// kinds without an exception.
class MaterialsWrite : public ISAXWriteHelper, public XMLWriteHandler
{
public:
    // The prefix of the materials namespace is asked of the model now.
    MaterialsWrite(PackageWriteContext* context, Materials const* materials,
                   std::shared_ptr<OndSDK::Common::IProgressDelegate> progress);
    bool Write(MSAXWriter& writer) const override;

private:
    void _WriteBaseMaterials(MSAXWriter& writer) const;
    void _WriteTextures(MSAXWriter& writer) const;
    void _WriteColorGroups(MSAXWriter& writer) const;
    void _WriteTextureGroups(MSAXWriter& writer) const;
    void _WriteMultiProperties(MSAXWriter& writer) const;
    // "prefix:name" in UTF-8, the form element names are written in.
    std::string _Prefixed(char const* name) const;

    Materials const* m_materials;
    std::wstring m_prefix;
    std::shared_ptr<OndSDK::Common::IProgressDelegate> m_progress;
};
} // namespace Format_3MF
