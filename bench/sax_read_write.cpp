// Reading and printing a large mesh document through the SAX layer, against
// expat tokenizing the same bytes with empty handlers.

#include "sax/SAXPersist.h"
#include "sax/SAXReader.h"
#include "sax/SAXWriter.h"
#include "sax/SaxUtilities.h"

#include <expat.h>

#include <algorithm>
#include <charconv>
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <functional>
#include <istream>
#include <sstream>
#include <streambuf>
#include <string>
#include <vector>

namespace
{
constexpr std::size_t kVertices = 1000000;
constexpr std::size_t kTriangles = 2000000;
constexpr int kBlockSize = 256 * 1024;

struct Mesh
{
    std::vector<double> coordinates;
    std::vector<std::int32_t> indices;
};

Mesh MakeMesh()
{
    Mesh mesh;
    std::uint64_t state = 12345;
    auto next = [&state]
    {
        state = state * 6364136223846793005ULL + 1442695040888963407ULL;
        return state >> 33;
    };
    mesh.coordinates.resize(kVertices * 3);
    for (double& value : mesh.coordinates)
    {
        value = static_cast<double>(next() % 2000000) / 1000.0 - 1000.0;
    }
    mesh.indices.resize(kTriangles * 3);
    for (std::int32_t& index : mesh.indices)
    {
        index = static_cast<std::int32_t>(next() % kVertices);
    }
    return mesh;
}

// Prints the mesh the way the library's mesh writer does: numbers formatted
// into a char buffer and handed over as UTF-8.
class MeshWriter : public ISAXPersistHelper
{
public:
    explicit MeshWriter(Mesh const& mesh) : m_mesh(mesh) {}

    bool Write(MSAXWriter& writer) const override
    {
        MSAXTagWriter resources(writer, "resources");
        MSAXTagWriter object(writer, "object");
        writer.WriteAttribute("id", "1");
        writer.WriteAttribute("type", "model");
        MSAXTagWriter mesh(writer, "mesh");
        char buffer[64];
        auto number = [&buffer](double value)
        {
            auto const end =
                std::to_chars(buffer, buffer + sizeof buffer, value, std::chars_format::fixed, 4).ptr;
            return std::string_view(buffer, static_cast<std::size_t>(end - buffer));
        };
        auto index = [&buffer](std::int32_t value)
        {
            auto const end = std::to_chars(buffer, buffer + sizeof buffer, value).ptr;
            return std::string_view(buffer, static_cast<std::size_t>(end - buffer));
        };
        {
            MSAXTagWriter vertices(writer, "vertices");
            for (std::size_t i = 0; i < m_mesh.coordinates.size(); i += 3)
            {
                MSAXTagWriter vertex(writer, "vertex");
                writer.WriteAttribute("x", number(m_mesh.coordinates[i]));
                writer.WriteAttribute("y", number(m_mesh.coordinates[i + 1]));
                writer.WriteAttribute("z", number(m_mesh.coordinates[i + 2]));
            }
        }
        MSAXTagWriter triangles(writer, "triangles");
        for (std::size_t i = 0; i < m_mesh.indices.size(); i += 3)
        {
            MSAXTagWriter triangle(writer, "triangle");
            writer.WriteAttribute("v1", index(m_mesh.indices[i]));
            writer.WriteAttribute("v2", index(m_mesh.indices[i + 1]));
            writer.WriteAttribute("v3", index(m_mesh.indices[i + 2]));
        }
        return true;
    }

private:
    Mesh const& m_mesh;
};

// Reads what MeshWriter prints, as the library's mesh reader would.
class MeshReader : public ISAXPersistHelper
{
public:
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        // Names as constants, so that no call builds a string.
        static std::wstring const vertex = L"vertex", triangle = L"triangle";
        static std::wstring const x = L"x", y = L"y", z = L"z", v1 = L"v1", v2 = L"v2", v3 = L"v3";
        if (tag == vertex)
        {
            double point[3] = {};
            reader.ReadAttribute(point[0], x);
            reader.ReadAttribute(point[1], y);
            reader.ReadAttribute(point[2], z);
            m_sum += point[0] + point[1] + point[2];
            ++m_vertices;
            return true;
        }
        if (tag == triangle)
        {
            int corners[3] = {};
            reader.ReadAttribute(corners[0], v1);
            reader.ReadAttribute(corners[1], v2);
            reader.ReadAttribute(corners[2], v3);
            m_sum += corners[0] + corners[1] + corners[2];
            ++m_triangles;
            return true;
        }
        return tag == L"vertices" || tag == L"triangles";
    }

    double m_sum = 0;
    std::size_t m_vertices = 0;
    std::size_t m_triangles = 0;
};

// Counts what it sees so that the results can be compared after the reader
// has deleted the mesh handler.
class CountingReader : public MeshReader
{
public:
    ~CountingReader() override
    {
        s_vertices = m_vertices;
        s_triangles = m_triangles;
    }
    static inline std::size_t s_vertices = 0;
    static inline std::size_t s_triangles = 0;
};

class CountingDocumentReader : public ISAXPersistHelper
{
public:
    bool HandleTag(std::wstring const& tag, MSAXReader& reader) override
    {
        if (tag == L"mesh")
        {
            reader.PushHandler(new CountingReader);
            return true;
        }
        return tag == L"model" || tag == L"resources" || tag == L"object";
    }
};

// An input stream over a string, without copying it.
class ViewBuffer : public std::streambuf
{
public:
    explicit ViewBuffer(std::string const& text)
    {
        char* const data = const_cast<char*>(text.data());
        setg(data, data, data + text.size());
    }
};

class NullBuffer : public std::streambuf
{
protected:
    int overflow(int c) override { return c; }
    std::streamsize xsputn(char const*, std::streamsize count) override { return count; }
};

void XMLCALL EmptyStart(void*, XML_Char const*, XML_Char const**) {}
void XMLCALL EmptyEnd(void*, XML_Char const*) {}

bool ExpatAlone(std::string const& document)
{
    ViewBuffer buffer(document);
    std::istream stream(&buffer);
    XML_Parser parser = XML_ParserCreate(nullptr);
    XML_SetElementHandler(parser, EmptyStart, EmptyEnd);
    bool ok = true;
    for (;;)
    {
        void* const block = XML_GetBuffer(parser, kBlockSize);
        stream.read(static_cast<char*>(block), kBlockSize);
        bool const last = !stream;
        if (XML_ParseBuffer(parser, static_cast<int>(stream.gcount()), last) != XML_STATUS_OK)
        {
            ok = false;
            break;
        }
        if (last)
        {
            break;
        }
    }
    XML_ParserFree(parser);
    return ok;
}

bool ReadThroughHandlers(std::string const& document)
{
    ViewBuffer buffer(document);
    std::istream stream(&buffer);
    CountingDocumentReader root;
    bool const ok = OndAM::SaxUtilities::ReadStream(stream, root);
    return ok && CountingReader::s_vertices == kVertices && CountingReader::s_triangles == kTriangles;
}

double Seconds(std::function<bool()> const& run, char const* what)
{
    auto const start = std::chrono::steady_clock::now();
    if (!run())
    {
        std::printf("%s failed\n", what);
    }
    std::chrono::duration<double> const elapsed = std::chrono::steady_clock::now() - start;
    return elapsed.count();
}
} // namespace

int main()
{
    Mesh const mesh = MakeMesh();
    MeshWriter const writer(mesh);
    OndAM::SaxUtilities::WriteOptions options;
    options.m_rootElement = L"model";
    options.m_style = 1;

    std::ostringstream generated;
    OndAM::SaxUtilities::WriteStream(generated, writer, options);
    std::string const document = generated.str();
    double const megabytes = static_cast<double>(document.size()) / 1e6;
    std::printf("document: %.1f MB, %zu vertices, %zu triangles\n", megabytes, kVertices, kTriangles);

    // The three measurements take turns, so that a change in the load of
    // the machine hits all of them; the best of three runs counts.
    double expat = 1e30;
    double read = 1e30;
    double write = 1e30;
    for (int run = 0; run < 3; ++run)
    {
        expat = std::min(expat, Seconds([&] { return ExpatAlone(document); }, "expat"));
        read = std::min(read, Seconds([&] { return ReadThroughHandlers(document); }, "ReadStream"));
        write = std::min(write, Seconds(
                                    [&]
                                    {
                                        NullBuffer discard;
                                        std::ostream stream(&discard);
                                        return OndAM::SaxUtilities::WriteStream(stream, writer, options);
                                    },
                                    "WriteStream"));
    }

    std::printf("expat alone:        %.3f s  (%.0f MB/s)\n", expat, megabytes / expat);
    std::printf("ReadStream:         %.3f s  (%.0f MB/s)  %.3f x expat\n", read, megabytes / read,
                read / expat);
    std::printf("WriteStream:        %.3f s  (%.0f MB/s)  %.3f x expat\n", write, megabytes / write,
                write / expat);
    return 0;
}
