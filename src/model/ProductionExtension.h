#pragma once

// The declaration that a model part refers into other parts (or bears
// production UUIDs), shared by the build and by components.

namespace Format_3MF
{
class ModelFile;

// Declares the production namespace under "p" in `file` and in the root
// model, and requires it in the root model. A second call changes nothing.
void DeclareProductionExtension(ModelFile& file);
} // namespace Format_3MF
