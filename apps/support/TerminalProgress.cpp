// The terminal's progress bar and the signal handler that turns Ctrl-C into
// a cancel.
#include "TerminalProgress.h"

#include <unistd.h>

#include <atomic>
#include <csignal>
#include <cstdio>
#include <cstring>

namespace format3mf::apps
{
namespace
{
class ProgressBar : public OndSDK::Common::IProgressDelegate
{
public:
    ~ProgressBar() override
    {
        if (m_shown >= 0)
        {
            std::fputs("\n", stderr);
        }
    }

protected:
    void OnProgress(double fraction) override
    {
        int const percent = static_cast<int>(fraction * 100.0);
        if (percent == m_shown)
        {
            return;
        }
        m_shown = percent;
        char bar[41];
        int const filled = percent * 40 / 100;
        std::memset(bar, '#', static_cast<std::size_t>(filled));
        std::memset(bar + filled, ' ', static_cast<std::size_t>(40 - filled));
        bar[40] = '\0';
        std::fprintf(stderr, "\r[%s] %3d%%", bar, percent);
        std::fflush(stderr);
    }

private:
    int m_shown = -1;
};

// Read by the handler, which may run on any thread at any time: an atomic
// pointer is all it may touch.
std::atomic<OndSDK::Common::IProgressDelegate*> g_cancelTarget{nullptr};

extern "C" void OnInterrupt(int)
{
    if (OndSDK::Common::IProgressDelegate* const target = g_cancelTarget.load())
    {
        target->Cancel();
    }
}
} // namespace

std::shared_ptr<OndSDK::Common::IProgressDelegate> TerminalProgress()
{
    if (isatty(STDERR_FILENO))
    {
        return std::make_shared<ProgressBar>();
    }
    return std::make_shared<OndSDK::Common::IProgressDelegate>();
}

CancelOnInterrupt::CancelOnInterrupt(OndSDK::Common::IProgressDelegate& target)
{
    g_cancelTarget = &target;
    struct sigaction action = {};
    action.sa_handler = OnInterrupt;
    action.sa_flags = SA_RESTART;
    sigemptyset(&action.sa_mask);
    sigaction(SIGINT, &action, nullptr);
    sigaction(SIGTERM, &action, nullptr);
    std::signal(SIGXFSZ, SIG_IGN);
}

CancelOnInterrupt::~CancelOnInterrupt()
{
    // The handlers stay: a Ctrl-C from here on finds nothing to cancel and
    // leaves the tool to finish its last words.
    g_cancelTarget = nullptr;
}
} // namespace format3mf::apps
