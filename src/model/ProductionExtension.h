#pragma once

// The declaration that a model part refers into other parts (or bears
// production UUIDs), shared by the build and by components.

namespace Format_3MF
{
class ModelFile;

// Declares the production namespace under "p" in `file` and in the root
// model, and requires it in the root model. A second call changes nothing.
void DeclareProductionExtension(ModelFile& file);

// Objects written into parts of their own are placed through the production
// extension, which asks for a UUID on the build, each item and each object:
// those of the root model and its related parts that have none get a new one.
void GiveProductionUUIDs(ModelFile& root);
} // namespace Format_3MF
