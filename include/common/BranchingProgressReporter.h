#pragma once

// A progress reporter for a task made of weighted sub-tasks, such as the parts
// of a package.

#include "common/BaseProgressReporter.h"

#include <string>

namespace OndSDK::Common
{
// Splits a task into weighted sub-tasks, each run on a delegate from
// CreateNestedDelegate. The name labels the task for the reader of the code;
// nothing depends on it.
class OND_EXPORT BranchingProgressReporter : public BaseProgressReporter
{
public:
    BranchingProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate, std::string const& name,
                              bool finishOnDestruction);
};
} // namespace OndSDK::Common
