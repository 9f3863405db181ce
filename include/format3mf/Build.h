#pragma once

// The build of a model part: the items to be made, each an object placed by a
// transformation.

#include "common/MMTransformMatrix.h"
#include "common/OndExport.h"
#include "format3mf/MetaData.h"
#include "format3mf/ProductionItem.h"
#include "format3mf/ReferenceID.h"

#include <optional>
#include <string>
#include <vector>

namespace Format_3MF
{
class ModelFile;
struct PackageWriteContext;

// The "build" element: what is to be made.
struct OND_EXPORT Build : ProductionItem
{
    // An object to make, by identifier in a model part (null: the build's
    // own), with its transformation in file units.
    struct Item : ProductionItem
    {
        tReferenceID m_objectID;
        ModelFile* m_modelFile = nullptr;
        MMTransformMatrix m_transform;
        MetaDataGroup m_metaData;
        // The item's "partnumber", and its "printable" as slicers write it
        // ("1" or "0"): kept so that a model written back keeps them. Empty
        // and unset where the file gives none.
        std::wstring m_partNumber;
        std::optional<bool> m_printable;
    };

    explicit Build(ModelFile* modelFile) : m_modelFile(modelFile) {}

    // Declares the production extension where a UUID or an item in another
    // model part needs it.
    void _OnStartWriting(PackageWriteContext* context);

    ModelFile* m_modelFile;
    std::vector<Item> m_items;
};
} // namespace Format_3MF
