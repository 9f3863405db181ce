// Writes that can't be finished, through the exporter and the package writer
// with and without the binary part and zip64: each is refused with the cause
// as the system gives it, a file that was there keeps every byte, and no file
// is left beside it. Also a part that can't be read from disk, a part that
// throws in the middle of its entry, and two threads writing one path.
#include "export/ExportSupport.h"

#include "format3mf/Exporter.h"
#include "format3mf/ImportFile.h"
#include "format3mf/PackageFile.h"
#include "format3mf/PackageWrite.h"
#include "zip/MZipArchiveError.h"

#include <boost/filesystem.hpp>
#include <gtest/gtest.h>

#include <csignal>
#include <fstream>
#include <iterator>
#include <set>
#include <thread>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
namespace fs = boost::filesystem;

std::string const kOldContent = "the file as it was before the write\n";

// A folder of its own for each write, so that what is left in it is what the
// write left.
struct Folder
{
    fs::path path = fs::temp_directory_path() / fs::unique_path("failed-write-%%%%-%%%%");

    Folder() { fs::create_directories(path); }
    ~Folder()
    {
        fs::permissions(path, fs::owner_all);
        fs::remove_all(path);
    }
    std::set<std::string> Names() const
    {
        std::set<std::string> names;
        for (auto const& entry : fs::directory_iterator(path))
        {
            names.insert(entry.path().filename().string());
        }
        return names;
    }
};

std::string Content(fs::path const& path)
{
    std::ifstream in(path.string(), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(in), {});
}

// A grid of n x n cells on the plane, two triangles each: enough bytes to
// pass a small file-size limit.
std::unique_ptr<MStlBase> MakeGrid(int n)
{
    auto mesh = std::make_unique<MStlBase>();
    std::vector<MStlPoint*> points;
    for (int y = 0; y <= n; ++y)
    {
        for (int x = 0; x <= n; ++x)
        {
            points.push_back(mesh->AddPoint(x * 1000 + y % 7, y * 1000 + x % 5, (x * y) % 3000));
        }
    }
    for (int y = 0; y < n; ++y)
    {
        for (int x = 0; x < n; ++x)
        {
            MStlPoint* const a = points[y * (n + 1) + x];
            MStlPoint* const b = points[y * (n + 1) + x + 1];
            MStlPoint* const c = points[(y + 1) * (n + 1) + x + 1];
            MStlPoint* const d = points[(y + 1) * (n + 1) + x];
            mesh->AddTriangle(a, b, c);
            mesh->AddTriangle(a, c, d);
        }
    }
    return mesh;
}

enum class Writer
{
    Exporter,
    Package,
    Binary,
    Zip64
};

char const* NameOf(Writer writer)
{
    switch (writer)
    {
    case Writer::Exporter:
        return "exporter";
    case Writer::Package:
        return "package writer";
    case Writer::Binary:
        return "package writer, binary part";
    case Writer::Zip64:
        return "package writer, zip64";
    }
    return "";
}

// "written", "cancelled", or "failed: " and the message.
std::string Write(Writer writer, MStlBase& mesh, fs::path const& target,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate> const& progress,
                  std::wstring const& thumbnail = L"")
{
    std::wstring const path = StringConversion::ConvertFileNameToNative(target.string());
    if (writer == Writer::Exporter)
    {
        format3mf::Export exporter;
        exporter.SetStl(&mesh, MMTransformMatrix(), nullptr);
        exporter.SetFilePath(path);
        exporter.SetProgressDelegate(progress);
        switch (exporter.Operate())
        {
        case format3mf::Export::Success:
            return "written";
        case format3mf::Export::Canceled:
            return "cancelled";
        default:
            return "failed: " + StringConversion::ConvertNativeToUTF8(exporter.GetErrorMessage());
        }
    }
    Format_3MF::ModelFileStlBase model;
    model.AddStl(&mesh);
    Format_3MF::Package package(&model);
    Format_3MF::PackageWriteOptions options;
    options.IsBinary = writer == Writer::Binary;
    options.Package.m_useZip64 = writer == Writer::Zip64;
    options.Thumbnails.m_path = thumbnail;
    try
    {
        Format_3MF::PackageWrite(&package, options).Write(path, progress);
        return "written";
    }
    catch (Format_3MF::PackageWrite::Canceled const&)
    {
        return "cancelled";
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        return "failed: " +
               StringConversion::ConvertNativeToUTF8(error.GetMessage() + L": " + error.GetDetail());
    }
}

// The write in a child process whose files may not grow past `limit` bytes;
// SIGXFSZ is ignored, so that a write past it fails with EFBIG.
std::string WriteLimited(Writer writer, MStlBase& mesh, fs::path const& target, rlim_t limit)
{
    int pipe[2];
    if (::pipe(pipe) != 0)
    {
        return "no pipe";
    }
    pid_t const child = ::fork();
    if (child == 0)
    {
        ::close(pipe[0]);
        rlimit const size{limit, limit};
        ::setrlimit(RLIMIT_FSIZE, &size);
        std::signal(SIGXFSZ, SIG_IGN);
        std::string const outcome = Write(writer, mesh, target, nullptr);
        ssize_t const written = ::write(pipe[1], outcome.data(), outcome.size());
        ::_exit(written == ssize_t(outcome.size()) ? 0 : 1);
    }
    ::close(pipe[1]);
    std::string outcome;
    char buffer[4096];
    for (ssize_t got; (got = ::read(pipe[0], buffer, sizeof buffer)) > 0;)
    {
        outcome.append(buffer, std::size_t(got));
    }
    ::close(pipe[0]);
    int status = 0;
    ::waitpid(child, &status, 0);
    return WIFEXITED(status) && WEXITSTATUS(status) == 0 ? outcome : "the child process failed";
}
} // namespace

TEST(FailedWrite, TheTargetKeepsItsBytesAndNothingIsLeft)
{
    auto const grid = MakeGrid(150);
    struct Case
    {
        char const* name;
        // What the outcome starts with, or the cause the message ends with.
        std::string outcome;
        bool needsNonRoot = false;
    };
    Case const cases[] = {
        {"file-size limit", "File too large"},
        {"folder without write permission", "Permission denied", true},
        {"target is a folder", "Is a directory"},
        {"cancel from the progress callback", "cancelled"},
    };
    for (Writer const writer : {Writer::Exporter, Writer::Package, Writer::Binary, Writer::Zip64})
    {
        for (Case const& c : cases)
        {
            SCOPED_TRACE(std::string(NameOf(writer)) + ": " + c.name);
            if (c.needsNonRoot && ::geteuid() == 0)
            {
                std::cout << "[  SKIPPED ] " << c.name << ": root writes into any folder\n";
                continue;
            }
            Folder folder;
            fs::path const target =
                folder.path / (c.outcome == "Is a directory" ? "folder.3mf" : "model.3mf");
            if (c.outcome == "Is a directory")
            {
                fs::create_directory(target);
            }
            else
            {
                std::ofstream(target.string(), std::ios::binary) << kOldContent;
            }
            std::set<std::string> const before = folder.Names();

            std::string outcome;
            if (c.outcome == "File too large")
            {
                outcome = WriteLimited(writer, *grid, target, 64 * 1024);
            }
            else if (c.outcome == "cancelled")
            {
                outcome = Write(writer, *grid, target, std::make_shared<CancelOnProgress>());
            }
            else
            {
                if (c.needsNonRoot)
                {
                    fs::permissions(folder.path, fs::owner_read | fs::owner_exe);
                }
                outcome = Write(writer, *grid, target, nullptr);
                fs::permissions(folder.path, fs::owner_all);
            }

            if (c.outcome == "cancelled")
            {
                EXPECT_EQ("cancelled", outcome);
            }
            else
            {
                // The message names the target, never a temporary file,
                // and the cause.
                std::string const start = "failed: Could not write " + target.string() + ": ";
                EXPECT_EQ(start, outcome.substr(0, start.size()));
                EXPECT_NE(std::string::npos, outcome.find(c.outcome, start.size())) << outcome;
                EXPECT_EQ(std::string::npos, outcome.find(target.filename().string() + ".")) << outcome;
            }
            EXPECT_EQ(before, folder.Names()) << "no file is left beside the target";
            if (c.outcome == "Is a directory")
            {
                EXPECT_TRUE(fs::is_directory(target));
            }
            else
            {
                EXPECT_EQ(kOldContent, Content(target));
            }
        }
    }
}

// A part whose file on disk can't be read would leave the package's
// relationships naming an entry that isn't there; a part that throws in the
// middle of its entry would leave a valid archive holding it cut short.
// Neither reaches the target.
class ThrowingPart : public Format_3MF::IPackageFile
{
public:
    ThrowingPart() : IPackageFile(L"/Metadata/throws.txt") {}
    double GetWriteProgressWeight() const override { return 0.1; }

protected:
    bool _GetContentInfo(std::wstring& contentType, std::wstring& extension) const override
    {
        contentType = L"text/plain";
        extension = L"txt";
        return true;
    }
    bool _GetRelationInfo(std::wstring&) const override { return false; }
    bool _OnCanStreamWrite() const override { return true; }
    void _OnRead(Format_3MF::PackageReadContext*) override {}
    void _OnWrite(Format_3MF::PackageWriteContext* context,
                  std::shared_ptr<OndSDK::Common::IProgressDelegate>) override
    {
        std::unique_ptr<std::ostream> stream(context->m_packageWrite->CreatePartOutputStream(*this));
        *stream << std::string(100000, 'x');
        throw std::runtime_error("the part's writer gave up");
    }
};

TEST(FailedWrite, PartsThatCantBeWrittenReachTheCaller)
{
    auto const square = MakeSquare();
    for (Writer const writer : {Writer::Package, Writer::Zip64})
    {
        SCOPED_TRACE(NameOf(writer));
        Folder folder;
        fs::path const target = folder.path / "model.3mf";
        std::ofstream(target.string(), std::ios::binary) << kOldContent;

        std::string const missing = (folder.path / "missing.png").string();
        std::string const outcome =
            Write(writer, *square, target, nullptr, StringConversion::ConvertFileNameToNative(missing));
        EXPECT_EQ("failed: Could not write " + target.string() +
                      ": the part /Metadata/thumbnail.png could not "
                      "be read from " +
                      missing + " (No such file or directory)",
                  outcome);

        Format_3MF::ModelFileStlBase model;
        model.AddStl(square.get());
        Format_3MF::Package package(&model);
        ThrowingPart part;
        package.AddPackageFile(&part, true, nullptr);
        Format_3MF::PackageWriteOptions options;
        options.Package.m_useZip64 = writer == Writer::Zip64;
        EXPECT_THROW(Format_3MF::PackageWrite(&package, options)
                         .Write(StringConversion::ConvertFileNameToNative(target.string()), nullptr),
                     std::runtime_error);

        EXPECT_EQ(kOldContent, Content(target));
        EXPECT_EQ(std::set<std::string>{"model.3mf"}, folder.Names());
    }
}

// Two threads writing one path each write a file of their own and rename it
// whole: the target is what one of them wrote, never a mix.
TEST(FailedWrite, TwoThreadsWritingOnePath)
{
    Folder folder;
    fs::path const target = folder.path / "model.3mf";
    auto const small = MakeSquare();
    auto const large = MakeGrid(60);
    MStlBase* const meshes[] = {small.get(), large.get()};
    for (int round = 0; round < 4; ++round)
    {
        std::string outcomes[2];
        std::thread writers[2];
        for (int i = 0; i < 2; ++i)
        {
            writers[i] =
                std::thread([&, i] { outcomes[i] = Write(Writer::Package, *meshes[i], target, nullptr); });
        }
        for (std::thread& thread : writers)
        {
            thread.join();
        }
        EXPECT_EQ("written", outcomes[0]);
        EXPECT_EQ("written", outcomes[1]);
        format3mf::import::ImportResult const read =
            format3mf::import::ImportFile(target.string());
        ASSERT_EQ(format3mf::import::Importer::Success, read.status);
        ASSERT_EQ(1u, read.parts.size());
        std::size_t const triangles = read.parts[0].mesh->GetNumberOfTriangles();
        EXPECT_TRUE(triangles == 2 || triangles == 7200) << triangles << " triangles";
        EXPECT_EQ(std::set<std::string>{"model.3mf"}, folder.Names());
    }
}
