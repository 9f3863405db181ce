// Writes a minimal 3MF package around one finely tessellated torus, straight
// through the archive's entry buffer: the model text is formatted into a
// block and handed over block by block, so the whole XML never sits in
// memory.
#pragma once

#include "zip/WriteBufferToZip.h"
#include "zip/Zip64Writer.h"

#include <charconv>
#include <cmath>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <stdexcept>
#include <string>

namespace torus
{
struct TorusShape
{
    // Grid cells around the ring (u) and around the tube (v); the torus has
    // ring * tube vertices and twice as many triangles.
    std::uint32_t m_ring = 1000;
    std::uint32_t m_tube = 1000;
    double m_ringRadius = 40.0;
    double m_tubeRadius = 15.0;
};

// Appends text to a block and passes full blocks on to the entry.
class BlockWriter
{
public:
    explicit BlockWriter(IWriteBuffer& target) : m_target(target) { m_block.reserve(kBlock + kSlack); }
    BlockWriter(BlockWriter const&) = delete;
    BlockWriter& operator=(BlockWriter const&) = delete;

    void Append(char const* text, std::size_t size)
    {
        m_block.append(text, size);
        if (m_block.size() >= kBlock)
        {
            Flush();
        }
    }
    void Append(char const* text) { Append(text, std::strlen(text)); }

    // A length in millimetres with four decimals, as a writer of this
    // library formats it, without the cost of printf.
    void AppendLength(double value)
    {
        char text[32];
        char* end = text;
        long long units = std::llround(value * 10000.0);
        if (units < 0)
        {
            *end++ = '-';
            units = -units;
        }
        end = std::to_chars(end, text + sizeof text, units / 10000).ptr;
        *end++ = '.';
        int fraction = static_cast<int>(units % 10000);
        for (int divisor = 1000; divisor > 0; divisor /= 10)
        {
            *end++ = static_cast<char>('0' + fraction / divisor);
            fraction %= divisor;
        }
        Append(text, static_cast<std::size_t>(end - text));
    }

    void AppendIndex(std::uint32_t value)
    {
        char text[16];
        char* const end = std::to_chars(text, text + sizeof text, value).ptr;
        Append(text, static_cast<std::size_t>(end - text));
    }

    void Flush()
    {
        if (!m_block.empty())
        {
            m_target.Write(m_block.data(), m_block.size());
            m_block.clear();
        }
    }

private:
    static constexpr std::size_t kBlock = 1 << 20;
    static constexpr std::size_t kSlack = 256;

    IWriteBuffer& m_target;
    std::string m_block;
};

inline void WriteTorusModel(IWriteBuffer& entry, TorusShape const& shape)
{
    double const pi = std::acos(-1.0);
    BlockWriter out(entry);
    out.Append(
        "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
        "<model unit=\"millimeter\" xml:lang=\"en-US\" "
        "xmlns=\"http://schemas.microsoft.com/3dmanufacturing/core/2015/02\">\n"
        " <resources>\n  <object id=\"1\" type=\"model\" name=\"torus\">\n   <mesh>\n    <vertices>\n");
    for (std::uint32_t i = 0; i < shape.m_ring; ++i)
    {
        double const u = 2.0 * pi * i / shape.m_ring;
        for (std::uint32_t j = 0; j < shape.m_tube; ++j)
        {
            double const v = 2.0 * pi * j / shape.m_tube;
            double const radius = shape.m_ringRadius + shape.m_tubeRadius * std::cos(v);
            out.Append("     <vertex x=\"");
            out.AppendLength(radius * std::cos(u));
            out.Append("\" y=\"");
            out.AppendLength(radius * std::sin(u));
            out.Append("\" z=\"");
            out.AppendLength(shape.m_tubeRadius * std::sin(v));
            out.Append("\"/>\n");
        }
    }
    out.Append("    </vertices>\n    <triangles>\n");
    auto const index = [&shape](std::uint32_t i, std::uint32_t j)
    { return (i % shape.m_ring) * shape.m_tube + j % shape.m_tube; };
    auto const triangle = [&out](std::uint32_t a, std::uint32_t b, std::uint32_t c)
    {
        out.Append("     <triangle v1=\"");
        out.AppendIndex(a);
        out.Append("\" v2=\"");
        out.AppendIndex(b);
        out.Append("\" v3=\"");
        out.AppendIndex(c);
        out.Append("\"/>\n");
    };
    // Corners in the order of increasing u, then v: the normals point out.
    for (std::uint32_t i = 0; i < shape.m_ring; ++i)
    {
        for (std::uint32_t j = 0; j < shape.m_tube; ++j)
        {
            std::uint32_t const a = index(i, j);
            std::uint32_t const b = index(i + 1, j);
            std::uint32_t const c = index(i + 1, j + 1);
            std::uint32_t const d = index(i, j + 1);
            triangle(a, b, c);
            triangle(a, c, d);
        }
    }
    out.Append("    </triangles>\n   </mesh>\n  </object>\n </resources>\n"
               " <build>\n  <item objectid=\"1\"/>\n </build>\n</model>\n");
    out.Flush();
}

inline void WriteText(FileIO::Zip::Zip64Writer& archive, char const* name, char const* text)
{
    WriteBufferToZip64 entry(&archive, name);
    entry.Write(text, std::strlen(text));
}

// The package: content types first, then the package relationships, then
// the model part.
inline void WriteTorusPackage(std::filesystem::path const& path, TorusShape const& shape = {})
{
    FileIO::Zip::Zip64Writer archive;
    if (!archive.OpenArchive(path.wstring().c_str()))
    {
        throw std::runtime_error("cannot create " + path.string());
    }
    WriteText(archive, "[Content_Types].xml",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<Types xmlns=\"http://schemas.openxmlformats.org/package/2006/content-types\">"
              "<Default Extension=\"rels\" "
              "ContentType=\"application/vnd.openxmlformats-package.relationships+xml\"/>"
              "<Default Extension=\"model\" "
              "ContentType=\"application/vnd.ms-package.3dmanufacturing-3dmodel+xml\"/>"
              "</Types>\n");
    WriteText(archive, "_rels/.rels",
              "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n"
              "<Relationships xmlns=\"http://schemas.openxmlformats.org/package/2006/relationships\">"
              "<Relationship Target=\"/3D/3dmodel.model\" Id=\"rel0\" "
              "Type=\"http://schemas.microsoft.com/3dmanufacturing/2013/01/3dmodel\"/>"
              "</Relationships>\n");
    {
        WriteBufferToZip64 model(&archive, "3D/3dmodel.model");
        WriteTorusModel(model, shape);
    }
    if (!archive.CloseArchive())
    {
        throw std::runtime_error("cannot complete " + path.string());
    }
}
} // namespace torus
