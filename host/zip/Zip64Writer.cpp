// Opening, filling and closing an archive that may need zip64 records.
#include "zip/Zip64Writer.h"

#include "zip/MZipArchiveError.h"
#include "zip/ZipWriter.h"

namespace FileIO::Zip
{
Zip64Writer::Zip64Writer() = default;

Zip64Writer::~Zip64Writer() = default;

bool Zip64Writer::OpenArchive(wchar_t const* path)
{
    CloseArchive();
    if (path == nullptr)
    {
        return false;
    }
    m_path = path;
    m_writer = format3mf::archive::ZipWriter::Create(path, true);
    return m_writer != nullptr;
}

bool Zip64Writer::AddFile(wchar_t const* diskPath, char const* nameInArchive, int level, char const* password)
{
    if (!m_writer || diskPath == nullptr || nameInArchive == nullptr || password != nullptr)
    {
        return false;
    }
    return m_writer->AddFile(diskPath, nameInArchive, level);
}

bool Zip64Writer::CloseArchive()
{
    if (!m_writer)
    {
        return false;
    }
    bool const closed = m_writer->Close();
    m_writeError = m_writer->FailureCause();
    m_writer.reset();
    return closed;
}

void Zip64Writer::DiscardArchive() noexcept
{
    if (m_writer)
    {
        m_writer->Discard();
        m_writer.reset();
    }
}

void Zip64Writer::AddPreparedEntry(char const* name, format3mf::archive::PreparedEntry& entry)
{
    Writer().AddPreparedEntry(name != nullptr ? name : "", entry);
}

format3mf::archive::ZipWriter& Zip64Writer::Writer()
{
    if (!m_writer)
    {
        throw MZipArchiveError::MGeneric(L"The archive is not open for writing", m_path);
    }
    return *m_writer;
}
} // namespace FileIO::Zip
