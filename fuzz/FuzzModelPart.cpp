// Fuzz target: any bytes as the root model part of an otherwise valid
// package, imported with textures. The package also holds a small PNG at
// "/3D/Textures/t.png" for models that name it.
#include "FuzzSupport.h"
#include "StoredZip.h"

#include <png.h>

#include <cstring>

namespace
{
std::string const kContentTypes =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<Types xmlns="http://schemas.openxmlformats.org/package/2006/content-types">
<Default Extension="rels" ContentType="application/vnd.openxmlformats-package.relationships+xml"/>
<Default Extension="model" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodel+xml"/>
<Default Extension="png" ContentType="application/vnd.ms-package.3dmanufacturing-3dmodeltexture"/>
</Types>)";

std::string const kRelationships =
    R"(<?xml version="1.0" encoding="UTF-8"?>
<Relationships xmlns="http://schemas.openxmlformats.org/package/2006/relationships">
<Relationship Target="/3D/3dmodel.model" Id="rel0" Type="http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel"/>
</Relationships>)";

std::vector<std::uint8_t> SmallPng()
{
    std::uint8_t pixels[4 * 4 * 3];
    for (std::size_t i = 0; i < sizeof pixels; ++i)
    {
        pixels[i] = static_cast<std::uint8_t>(i * 37);
    }
    png_image image{};
    image.version = PNG_IMAGE_VERSION;
    image.width = image.height = 4;
    image.format = PNG_FORMAT_RGB;
    png_alloc_size_t size = 0;
    png_image_write_to_memory(&image, nullptr, &size, 0, pixels, 0, nullptr);
    std::vector<std::uint8_t> png(size);
    png_image_write_to_memory(&image, png.data(), &size, 0, pixels, 0, nullptr);
    png.resize(size);
    return png;
}

void AddText(StoredZip& zip, std::string const& name, std::string const& text)
{
    zip.Add(name, reinterpret_cast<std::uint8_t const*>(text.data()), text.size());
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(std::uint8_t const* data, std::size_t size)
{
    static FuzzInputFile const input;
    static std::vector<std::uint8_t> const png = SmallPng();
    StoredZip zip;
    AddText(zip, "[Content_Types].xml", kContentTypes);
    AddText(zip, "_rels/.rels", kRelationships);
    zip.Add("3D/3dmodel.model", data, size);
    zip.Add("3D/Textures/t.png", png.data(), png.size());
    std::vector<std::uint8_t> const archive = zip.Finish();
    ImportFile(input.Write(archive.data(), archive.size()));
    return 0;
}
