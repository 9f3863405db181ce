// Declaring the production extension in a model part and its root model when
// something written needs it.
#include "model/ProductionExtension.h"

#include "format3mf/FormatIdentifiers.h"
#include "format3mf/ModelFile.h"

namespace Format_3MF
{
void DeclareProductionExtension(ModelFile& file)
{
    file.AddNamespace(NamespaceProduction, PrefixProduction);
    ModelFile* const root = file.GetRootModelFile();
    root->AddNamespace(NamespaceProduction, PrefixProduction);
    root->AddRequiredExtension(PrefixProduction);
}
} // namespace Format_3MF
