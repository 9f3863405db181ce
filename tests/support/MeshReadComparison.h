#pragma once

// Reads one model document with mesh data in plain form on or off, in blocks
// of a given size, and notes all that the reading gave: the differential
// tests and the fuzz target compare the two ways with it.

#include "format3mf/Exception.h"
#include "format3mf/MeshStlBase.h"
#include "format3mf/Object.h"
#include "format3mf/PackageReadContext.h"
#include "format3mf/PropertyGroup.h"
#include "format3mf/PropertyValues.h"
#include "format3mf/XMLPersistHelpers.h"
#include "support/MeshDump.h"
#include "support/TestModelFile.h"

#include "common/IProgressDelegate.h"
#include "common/IncrementalProgressReporter.h"
#include "sax/PlainContent.h"
#include "triangles/MStlBase.h"
#include "zip/IReadBuffer.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <memory>
#include <ostream>
#include <string>
#include <utility>
#include <vector>

namespace MeshReadComparison
{
using namespace Format_3MF;

// A document handed out in blocks of at most `block` bytes.
class BlockReadBuffer : public IReadBuffer
{
public:
    BlockReadBuffer(std::string const& text, std::size_t block) : m_text(text), m_block(block) {}

    std::size_t Read(char* data, std::size_t size) override
    {
        std::size_t const count = std::min({size, m_block, m_text.size() - m_at});
        std::memcpy(data, m_text.data() + m_at, count);
        m_at += count;
        return count;
    }

private:
    std::string const& m_text;
    std::size_t m_block;
    std::size_t m_at = 0;
};

// Notes every position reported, and cancels once one reaches `cancelAt`.
class Recorder : public OndSDK::Common::IProgressDelegate
{
public:
    explicit Recorder(double steps, double cancelAt) : m_steps(steps), m_cancelAt(cancelAt) {}
    std::vector<long long> m_positions;

protected:
    void OnProgress(double fraction) override
    {
        m_positions.push_back(static_cast<long long>(fraction * m_steps + 0.5));
        if (fraction * m_steps >= m_cancelAt)
        {
            Cancel();
        }
    }

private:
    double m_steps;
    double m_cancelAt;
};

// Keeps the namespaces of "model" and hands "mesh" to the mesh's reader.
struct ModelRoot : ISAXReadHelper
{
    ModelRoot(MeshStlBase& mesh, PackageReadContext& context) : m_mesh(mesh), m_context(context) {}
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        if (tag == L"model")
        {
            UpdateNamespaces(reader);
        }
        if (tag == L"mesh")
        {
            reader.PushHandler(m_mesh._CreateSaxHandlerRead(&m_context, this));
        }
        return true;
    }
    MeshStlBase& m_mesh;
    PackageReadContext& m_context;
};

struct Outcome
{
    bool parsed = false;
    std::string error;
    PointList points;
    TriangleList triangles;
    std::vector<std::array<long long, 4>> noted;
    std::vector<long long> progress;

    bool operator==(Outcome const& other) const
    {
        return parsed == other.parsed && error == other.error && points == other.points &&
               triangles == other.triangles && noted == other.noted && progress == other.progress;
    }
};

inline std::ostream& operator<<(std::ostream& out, Outcome const& outcome)
{
    out << (outcome.parsed ? "parsed" : "not parsed") << ", error '" << outcome.error << "', "
        << outcome.points.size() << " points, " << outcome.triangles.size() << " triangles, progress";
    for (long long const position : outcome.progress)
    {
        out << ' ' << position;
    }
    return out;
}

// Sets whether readers use plain content for as long as it lives, and puts
// it back on when it goes, also when an exception unwinds the test.
class PlainContentSwitch
{
public:
    explicit PlainContentSwitch(bool plain) { OndSAX::SetPlainContentEnabled(plain); }
    ~PlainContentSwitch() { OndSAX::SetPlainContentEnabled(true); }
    PlainContentSwitch(PlainContentSwitch const&) = delete;
    PlainContentSwitch& operator=(PlainContentSwitch const&) = delete;
};

constexpr double kSteps = 1000.0;

struct Reading
{
    Outcome outcome;
    std::int64_t bypassed = 0;
};

// Reads `xml` with plain content on or off, in blocks of `block` bytes.
inline Reading Read(std::string const& xml, bool plain, std::size_t block, double cancelAt = 1e9)
{
    TestModelFile model;
    Object object{&model};
    ColorGroup colors;
    colors.AddValue(Color(0x0000FF), false);
    colors.AddValue(Color(0x00FF00), false);
    model.Register(colors, 1);
    // A document that names "defaultgroup" gets the colours as the object's group.
    object.m_propertyGroup = xml.find("defaultgroup") != std::string::npos ? &colors : nullptr;
    PackageReadContext context;
    auto const recorder = std::make_shared<Recorder>(kSteps, cancelAt);
    OndSDK::Common::IncrementalProgressReporter progress(recorder, "", static_cast<std::uint64_t>(kSteps),
                                                         false);
    context.m_progress = &progress;
    MeshStlBase mesh{nullptr, &model, &object, &context};
    mesh.SetStl(new MStlBase(), true);

    Reading reading;
    Outcome& outcome = reading.outcome;
    {
        PlainContentSwitch const use(plain);
        ModelRoot root(mesh, context);
        MSAXReader reader(root);
        BlockReadBuffer source(xml, block);
        try
        {
            outcome.parsed = reader.Parse(source);
        }
        catch (Exception const& error)
        {
            outcome.error = error.what();
        }
        catch (Canceled const&)
        {
            outcome.error = "cancelled";
        }
        reading.bypassed = reader.GetBypassedBytes();
    }

    MStlBase const& stl = *mesh.m_stl;
    outcome.points = PointsOf(stl);
    outcome.triangles = TrianglesOf(stl);
    for (auto triangle = stl.BeginTriangle(); triangle != stl.EndTriangle(); ++triangle)
    {
        std::array<long long, 4> noted{-1, -1, -1, -1};
        if (mesh.m_triangleProperties != nullptr)
        {
            auto const& entry = std::as_const(*mesh.m_triangleProperties).GetInfo(*triangle);
            if (!entry.empty())
            {
                noted = {int(entry.front().m_group->m_id), static_cast<long long>(entry.front().m_p1),
                         static_cast<long long>(entry.front().m_p2),
                         static_cast<long long>(entry.front().m_p3)};
            }
        }
        outcome.noted.push_back(noted);
    }
    outcome.progress = recorder->m_positions;
    return reading;
}

} // namespace MeshReadComparison
