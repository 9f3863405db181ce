// A reporter that only carries nested reporters; its progress comes from them alone.
#include "common/BranchingProgressReporter.h"

namespace OndSDK::Common
{
BranchingProgressReporter::BranchingProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                                     std::string const&, bool finishOnDestruction)
    : BaseProgressReporter(delegate, 0.0, finishOnDestruction)
{
}
} // namespace OndSDK::Common
