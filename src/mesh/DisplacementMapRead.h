// Reading the vendor's displacement maps of a mesh: a "textures" list of
// "texture" entries, each naming a coordinate group and the displacements of
// white and black.
#pragma once

#include "format3mf/MeshStlBase.h"

#include "sax/SAXReader.h"

#include <string>

namespace Format_3MF
{
// Handles one element of the displacement namespace inside "mesh", by its
// local name. True for "textures" and for a "texture" that added a map; a
// "texture" without "white", "black" or "texture2d_id", or whose id names no
// coordinate group (yet), adds nothing and is false, as is anything else.
bool ReadDisplacementMapElement(MeshStlBase& mesh, std::wstring const& local, MSAXReader& reader);
} // namespace Format_3MF
