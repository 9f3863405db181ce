// Entries of a project read from its archive or held as edited, and the save
// that copies the untouched ones as they are stored.
#include "slicerproject/EntryStore.h"

#include "common/SafeFileWrite.h"
#include "common/StringConversion.h"
#include "zip/MZipArchiveError.h"
#include "zip/ReadBufferFromZip.h"
#include "zip/ZipDeflater.h"
#include "zip/ZipWriter.h"

#include <isa-l/crc.h>

#include <algorithm>
#include <cerrno>

namespace format3mf::slicerproject
{
namespace
{
// What an entry read whole may unpack to. The parts a project reads whole
// are settings, images and models of tens of megabytes; an entry that
// unpacks to more than this is either not one of them or a zip bomb.
constexpr std::uint64_t kMaxWholeEntry = std::uint64_t(1) << 30;
// The pieces in which an entry is streamed.
constexpr std::size_t kStreamBlock = std::size_t(1) << 20;
// ISA-L's level 2, which zlib's default level maps to.
constexpr int kDeflateLevel = 2;

std::string Message(MZipArchiveError::MGeneric const& error)
{
    std::wstring const text =
        error.GetDetail().empty() ? error.GetMessage() : error.GetMessage() + L": " + error.GetDetail();
    return StringConversion::ConvertNativeToUTF8(text);
}
} // namespace

EntryStore::EntryStore(std::filesystem::path const& path)
    : m_path(path), m_archive(std::make_unique<MZipArchive>(false))
{
    std::wstring const name = StringConversion::ConvertFileNameToNative(path.native());
    if (!m_archive->OpenArchiveRead(name.c_str()))
    {
        throw ProjectError("Could not open " + path.string() + " as a project: " +
                           StringConversion::ConvertNativeToUTF8(m_archive->GetOpenError()));
    }
    m_order = m_archive->GetEntryNames();
}

bool EntryStore::Has(std::string const& name) const
{
    if (m_written.count(name) != 0)
    {
        return true;
    }
    return m_removed.count(name) == 0 && std::find(m_order.begin(), m_order.end(), name) != m_order.end();
}

std::string EntryStore::Read(std::string const& name) const
{
    if (auto const written = m_written.find(name); written != m_written.end())
    {
        return written->second;
    }
    MZipArchive::MZipFileInfo info;
    if (m_removed.count(name) != 0 || !m_archive->GetFileInfo(name.c_str(), info))
    {
        throw ProjectError("The project has no entry " + name);
    }
    if (info.m_uncompressedSize > kMaxWholeEntry)
    {
        throw ProjectError("The entry " + name + " is " + std::to_string(info.m_uncompressedSize) +
                           " bytes long unpacked, more than the " + std::to_string(kMaxWholeEntry) +
                           " that an entry read whole may take");
    }
    std::string data;
    try
    {
        ReadBufferFromZip buffer(m_archive.get(),
                                 StringConversion::ConvertMultiByteStringToOndString(name).c_str());
        data.resize(std::size_t(info.m_uncompressedSize));
        std::size_t filled = 0;
        while (filled < data.size())
        {
            std::size_t const got = buffer.Read(data.data() + filled, data.size() - filled);
            if (got == 0)
            {
                break;
            }
            filled += got;
        }
        if (filled != data.size())
        {
            throw ProjectError("The entry " + name + " is shorter than its archive says");
        }
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        throw ProjectError("The entry " + name + " can't be read: " + Message(error));
    }
    return data;
}

void EntryStore::Stream(std::string const& name,
                        std::function<void(char const*, std::size_t)> const& take) const
{
    if (auto const written = m_written.find(name); written != m_written.end())
    {
        take(written->second.data(), written->second.size());
        return;
    }
    MZipArchive::MZipFileInfo info;
    if (m_removed.count(name) != 0 || !m_archive->GetFileInfo(name.c_str(), info))
    {
        throw ProjectError("The project has no entry " + name);
    }
    try
    {
        ReadBufferFromZip buffer(m_archive.get(),
                                 StringConversion::ConvertMultiByteStringToOndString(name).c_str());
        std::vector<char> block(kStreamBlock);
        while (std::size_t const got = buffer.Read(block.data(), block.size()))
        {
            take(block.data(), got);
        }
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        throw ProjectError("The entry " + name + " can't be read: " + Message(error));
    }
}

std::string EntryStore::ReadIfThere(std::string const& name) const
{
    return Has(name) ? Read(name) : std::string();
}

void EntryStore::Write(std::string const& name, std::string data)
{
    if (name.empty() || name.front() == '/' || name.find('\\') != std::string::npos ||
        name.find("//") != std::string::npos || name.back() == '/')
    {
        throw ProjectError("\"" + name +
                           "\" is not an entry name: names are paths of folders and a file, "
                           "separated by '/', without a leading '/'");
    }
    bool const inArchive = std::find(m_order.begin(), m_order.end(), name) != m_order.end();
    if (!inArchive && std::find(m_added.begin(), m_added.end(), name) == m_added.end())
    {
        m_added.push_back(name);
    }
    m_removed.erase(name);
    m_written[name] = std::move(data);
}

void EntryStore::Remove(std::string const& name)
{
    if (!Has(name))
    {
        throw ProjectError("The project has no entry " + name);
    }
    m_written.erase(name);
    m_added.erase(std::remove(m_added.begin(), m_added.end(), name), m_added.end());
    if (std::find(m_order.begin(), m_order.end(), name) != m_order.end())
    {
        m_removed[name] = true;
    }
}

std::vector<ProjectEntry> EntryStore::List() const
{
    std::vector<ProjectEntry> entries;
    auto const add = [&](std::string const& name)
    {
        if (!Has(name))
        {
            return;
        }
        ProjectEntry entry;
        entry.name = name;
        if (auto const written = m_written.find(name); written != m_written.end())
        {
            entry.edited = true;
            entry.size = written->second.size();
            entry.crc = crc32_gzip_refl(0, reinterpret_cast<unsigned char const*>(written->second.data()),
                                        written->second.size());
        }
        else
        {
            MZipArchive::MZipFileInfo info;
            m_archive->GetFileInfo(name.c_str(), info);
            entry.size = info.m_uncompressedSize;
            entry.compressedSize = info.m_compressedSize;
            entry.crc = info.m_crc;
        }
        entries.push_back(std::move(entry));
    };
    std::for_each(m_order.begin(), m_order.end(), add);
    std::for_each(m_added.begin(), m_added.end(), add);
    return entries;
}

void EntryStore::Save(std::filesystem::path const& path) const
{
    std::string const target = path.native();
    try
    {
        SafeFileWrite file(target);
        auto writer =
            archive::ZipWriter::Create(StringConversion::ConvertFileNameToNative(file.TemporaryPath()), true);
        if (!writer)
        {
            throw file.Failure(errno);
        }
        try
        {
            auto const put = [&](std::string const& name)
            {
                if (!Has(name))
                {
                    return;
                }
                auto const written = m_written.find(name);
                if (written == m_written.end())
                {
                    writer->AddCopiedEntry(*m_archive, name);
                    return;
                }
                writer->BeginRawEntry(name);
                archive::ZipDeflater deflater([&](unsigned char const* data, std::size_t size)
                                              { writer->WriteRaw(data, size); },
                                              name, kDeflateLevel);
                deflater.Deflate(reinterpret_cast<unsigned char const*>(written->second.data()),
                                 written->second.size());
                deflater.Finish();
                writer->EndRawEntry(deflater.GetSize(), deflater.GetCrc());
            };
            std::for_each(m_order.begin(), m_order.end(), put);
            std::for_each(m_added.begin(), m_added.end(), put);
        }
        catch (...)
        {
            writer->Discard();
            throw;
        }
        if (!writer->Close())
        {
            throw file.Failure(writer->FailureCause());
        }
        file.Commit();
    }
    catch (FileWriteError const& error)
    {
        throw ProjectError(error.what());
    }
    catch (MZipArchiveError::MGeneric const& error)
    {
        throw ProjectError("Could not write " + target + ": " + Message(error));
    }
}
} // namespace format3mf::slicerproject
