#pragma once

// Texture resources: which image part a model shows and how it is typed.

#include "common/OndExport.h"
#include "format3mf/ReferenceID.h"

#include <string>

namespace Format_3MF
{
class Image2D;

// A texture resource of a model: the image part it shows and how that part
// is named and typed in the model. Texture coordinate groups refer to it by
// its id.
class OND_EXPORT Texture2D : public IReferenced
{
public:
    // The package owns the part; several textures may share one.
    Image2D* m_image = nullptr;
    // The part name of the image, as the model writes it.
    std::wstring m_path;
    std::wstring m_contentType;
};
} // namespace Format_3MF
