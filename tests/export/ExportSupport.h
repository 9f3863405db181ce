// What the export tests share: a model file of host meshes prepared for
// writing and printed to text without an archive, fragments expected in that
// text, meshes with colours and textures to write, and a cancel mid-write.
#pragma once

#include "format3mf/ModelFileStlBase.h"
#include "format3mf/Package.h"
#include "format3mf/PackageWriteContext.h"
#include "model/ModelFileXML.h"

#include "common/IProgressDelegate.h"
#include "common/ImageBitmap.h"
#include "sax/SaxUtilities.h"
#include "support/PackageTestSupport.h"
#include "triangles/MStlBase.h"
#include "triangles/MStlTexture.h"

#include <functional>
#include <gtest/gtest.h>
#include <memory>
#include <sstream>
#include <string>
#include <vector>

// Cancels at the first report of progress, in the middle of a write.
class CancelOnProgress : public OndSDK::Common::IProgressDelegate
{
protected:
    void OnProgress(double) override { Cancel(); }
};

// The meshes go through the start hooks of a package write, as PackageWrite
// runs them; Xml() prints the root model as the writer would.
struct PreparedModel
{
    Format_3MF::ModelFileStlBase model;
    Format_3MF::Package package{&model};
    Format_3MF::PackageWriteContext context;

    // `before` may fill the model further before the hooks run.
    explicit PreparedModel(std::vector<MStlBase*> const& meshes,
                           Format_3MF::PackageWriteOptions const& options = {},
                           std::function<void(PreparedModel&)> const& before = {})
        : context(options)
    {
        for (MStlBase* mesh : meshes)
        {
            model.AddStl(mesh);
        }
        if (before)
        {
            before(*this);
        }
        context.m_package = &package;
        package._OnStartWriting(&context);
    }

    Format_3MF::Materials& Materials() { return model.GetResources().m_materials; }
    Format_3MF::Object& ObjectAt(std::size_t index) { return *model.GetResources().m_objects.at(index); }

    std::string Xml(std::shared_ptr<OndSDK::Common::IProgressDelegate> progress = {})
    {
        std::ostringstream stream;
        OndAM::SaxUtilities::WriteOptions options;
        options.m_rootElement = L"model";
        OndAM::SaxUtilities::WriteStream(stream, Format_3MF::ModelFileWrite(&model, &context, progress),
                                         options);
        return stream.str();
    }
};

// Each fragment is in the text, or with a leading '!' is not.
inline void ExpectXml(std::string const& xml, std::vector<std::string> const& fragments)
{
    for (std::string const& fragment : fragments)
    {
        bool const absent = !fragment.empty() && fragment[0] == '!';
        EXPECT_EQ(absent, xml.find(absent ? fragment.substr(1) : fragment) == std::string::npos)
            << (absent ? "unwanted: " : "missing: ") << fragment << "\nin: " << xml;
    }
}

// Two triangles on four points of a square of side 1 mm, after a point that no
// triangle uses when asked.
inline std::unique_ptr<MStlBase> MakeSquare(std::int32_t size = 10000, bool unusedFirst = false)
{
    auto mesh = std::make_unique<MStlBase>();
    if (unusedFirst)
    {
        mesh->AddPoint(70000, 70000, 70000);
    }
    MStlPoint* const a = mesh->AddPoint(0, 0, 0);
    MStlPoint* const b = mesh->AddPoint(size, 0, 0);
    MStlPoint* const c = mesh->AddPoint(size, size, 0);
    MStlPoint* const d = mesh->AddPoint(0, size, 0);
    mesh->AddTriangle(a, b, c);
    mesh->AddTriangle(a, c, d);
    return mesh;
}

// A bitmap of one colour, so that two of them differ by that colour.
inline std::shared_ptr<OndSDK::Common::ImageBitmap> MakeBitmap(std::uint8_t red)
{
    auto bitmap = std::make_shared<OndSDK::Common::ImageBitmap>();
    bitmap->Create(4, 2, 3);
    for (std::uint32_t y = 0; y < 2; ++y)
    {
        for (std::uint32_t x = 0; x < 4; ++x)
        {
            bitmap->GetRow(y)[3 * x] = red;
            bitmap->GetRow(y)[3 * x + 1] = static_cast<std::uint8_t>(x * 40);
        }
    }
    return bitmap;
}

// Puts triangles of the mesh on a new texture of that name and bitmap.
inline void AddTexture(MStlBase& mesh, std::wstring const& name,
                       std::shared_ptr<OndSDK::Common::ImageBitmap> const& bitmap,
                       std::vector<std::uint32_t> const& triangles, float offset = 0.0f)
{
    MStlTexture* const texture = mesh.GetTextureFactory(true)->AddTexture();
    texture->SetName(name);
    texture->SetSharedBitmap(bitmap);
    for (std::uint32_t index : triangles)
    {
        MStlTextureCoordinates coordinates;
        coordinates.m_u1 = offset;
        coordinates.m_v1 = 0.25f;
        coordinates.m_u2 = offset + 0.5f;
        coordinates.m_v2 = 0.25f;
        coordinates.m_u3 = offset + 0.5f;
        coordinates.m_v3 = 0.75f;
        texture->AddTriangle(&mesh.TriangleAt(index), coordinates, true);
    }
}
