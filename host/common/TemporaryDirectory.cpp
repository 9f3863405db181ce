// The per-process temporary folder behind TemporaryDirectory, created on first use
// and removed when its last user goes away.
#include "common/TemporaryDirectory.h"

#include "common/StringConversion.h"

#include <boost/filesystem.hpp>
#include <boost/system/error_code.hpp>

#include <atomic>
#include <cerrno>
#include <mutex>
#include <random>
#include <string>

#include <sys/stat.h>
#include <unistd.h>

namespace OndSDK::FileIO::FileSystem
{
class TemporaryDirectory::Folder
{
public:
    Folder() = default;
    Folder(Folder const&) = delete;
    Folder& operator=(Folder const&) = delete;
    ~Folder() { Remove(); }

    // Creates the folder on first use; the path is fixed from then on.
    boost::filesystem::path Get()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        if (m_path.empty())
        {
            m_path = Create();
            m_owner = ::getpid();
        }
        return m_path;
    }

    std::uint64_t NextNumber() { return m_next.fetch_add(1, std::memory_order_relaxed); }

    void Remove() noexcept
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        // A forked child shares the object but must not take the parent's folder.
        if (!m_path.empty() && m_owner == ::getpid())
        {
            boost::system::error_code ignored;
            boost::filesystem::remove_all(m_path, ignored);
        }
        m_path.clear();
    }

private:
    static boost::filesystem::path Create()
    {
        boost::filesystem::path const base = boost::filesystem::temp_directory_path();
        std::random_device random;
        for (;;)
        {
            std::uniform_int_distribution<std::uint64_t> digits;
            boost::filesystem::path const candidate =
                base / ("OndSDK.AM.3mf-" + std::to_string(::getpid()) + "-" + std::to_string(digits(random)));
            // mkdir rather than boost's create_directory: the mode must hold
            // from the first moment, not after a later chmod.
            if (::mkdir(candidate.c_str(), S_IRWXU) == 0)
            {
                return candidate;
            }
            if (errno != EEXIST)
            {
                throw boost::filesystem::filesystem_error(
                    "cannot create the temporary folder", candidate,
                    boost::system::error_code(errno, boost::system::generic_category()));
            }
        }
    }

    std::mutex m_mutex;
    boost::filesystem::path m_path;
    pid_t m_owner = 0;
    std::atomic<std::uint64_t> m_next{0};
};

namespace
{
// Keeps the folder of the process while TemporaryDirectory objects use it,
// and removes it at exit should one of them never be destroyed.
class FolderRegistry
{
public:
    ~FolderRegistry()
    {
        if (std::shared_ptr<TemporaryDirectory::Folder> folder = m_current.lock())
        {
            folder->Remove();
        }
    }

    std::shared_ptr<TemporaryDirectory::Folder> Acquire()
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        std::shared_ptr<TemporaryDirectory::Folder> folder = m_current.lock();
        if (!folder)
        {
            folder = std::make_shared<TemporaryDirectory::Folder>();
            m_current = folder;
        }
        return folder;
    }

private:
    std::mutex m_mutex;
    std::weak_ptr<TemporaryDirectory::Folder> m_current;
};

FolderRegistry& Registry()
{
    static FolderRegistry registry;
    return registry;
}
} // namespace

TemporaryDirectory::TemporaryDirectory() : m_folder(Registry().Acquire()) {}

TemporaryDirectory::~TemporaryDirectory() = default;

std::wstring TemporaryDirectory::GetTemporaryFilePath() const
{
    boost::filesystem::path const folder = m_folder->Get();
    std::string const name = std::to_string(m_folder->NextNumber()) + "-";
    return StringConversion::ConvertMultiByteStringToOndString((folder / name).string());
}
} // namespace OndSDK::FileIO::FileSystem
