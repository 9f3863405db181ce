// Tests of progress reporting: nested weights, throttled counting, and
// cancellation seen across threads and nesting levels.
#include "common/BranchingProgressReporter.h"
#include "common/IncrementalProgressReporter.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <thread>
#include <vector>

using namespace OndSDK::Common;

namespace
{
class RecordingDelegate : public IProgressDelegate
{
public:
    std::vector<double> seen;

protected:
    void OnProgress(double fraction) override { seen.push_back(fraction); }
};
} // namespace

TEST(Progress, NestedWeightsAddUpAtTheRootAndScaleEachLevel)
{
    auto root = std::make_shared<RecordingDelegate>();
    {
        BranchingProgressReporter branch(root, "load", true);
        std::shared_ptr<IProgressDelegate> light = branch.CreateNestedDelegate(1.0);
        std::shared_ptr<IProgressDelegate> heavy = branch.CreateNestedDelegate(3.0);
        {
            IncrementalProgressReporter steps(light, "light", 10, true);
            steps += 10;
        }
        EXPECT_DOUBLE_EQ(0.25, root->GetProgress());
        {
            // A weight below 1 leaves the rest to the end of its reporter.
            BranchingProgressReporter inner(heavy, "inner", true);
            std::shared_ptr<IProgressDelegate> half = inner.CreateNestedDelegate(0.5);
            IncrementalProgressReporter bytes(half, "heavy", 1000, true);
            bytes = 500;
            EXPECT_DOUBLE_EQ(0.5, half->GetProgress());
            EXPECT_DOUBLE_EQ(0.25, heavy->GetProgress());
            EXPECT_DOUBLE_EQ(0.25 + 0.75 * 0.25, root->GetProgress());
        }
        EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    }
    EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    EXPECT_TRUE(std::is_sorted(root->seen.begin(), root->seen.end()));
}

// Counting is throttled but ends exact; counts are clamped, may go back and
// share the total with nested work.
TEST(Progress, CountingIsThrottledClampedAndSharedWithNestedWork)
{
    auto root = std::make_shared<RecordingDelegate>();
    {
        IncrementalProgressReporter bytes(root, "stream", 1000000, true);
        for (std::uint64_t position = 0; position <= 1000000; ++position)
        {
            bytes = position;
        }
        EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    }
    EXPECT_LE(root->seen.size(), 1001u);
    EXPECT_GE(root->seen.size(), 100u);
    EXPECT_TRUE(std::is_sorted(root->seen.begin(), root->seen.end()));

    IncrementalProgressReporter steps(root, "steps", 10, true);
    steps = 25;
    EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    steps = 5;
    EXPECT_DOUBLE_EQ(0.5, root->GetProgress());
    steps += UINT64_MAX;
    EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    // Ten steps and a nested weight of ten.
    std::shared_ptr<IProgressDelegate> extra = steps.CreateNestedDelegate(10.0);
    EXPECT_DOUBLE_EQ(0.5, root->GetProgress());
    extra->SetProgress(0.5);
    EXPECT_DOUBLE_EQ(0.75, root->GetProgress());

    // Without a delegate nothing is reported and nothing is cancelled.
    IncrementalProgressReporter none(nullptr, "none", 3, true);
    none += 5;
    none = UINT64_MAX;
    EXPECT_FALSE(none.IsCancelled());
    EXPECT_EQ(nullptr, none.CreateNestedDelegate(2.0));
    EXPECT_EQ(nullptr, BranchingProgressReporter(nullptr, "branch", true).CreateNestedDelegate(1.0));
}

// A cancel from another thread, or on any nested delegate, reaches the root
// and every reporter below it, also one made after the cancel.
TEST(Progress, CancelFromAnotherThreadOrAnyNestedDelegateStopsTheWholeTree)
{
    auto root = std::make_shared<IProgressDelegate>();
    BranchingProgressReporter top(root, "top", true);
    BranchingProgressReporter middle(top.CreateNestedDelegate(1.0), "middle", true);
    IncrementalProgressReporter leaf(middle.CreateNestedDelegate(2.0), "leaf", UINT64_MAX, true);
    EXPECT_FALSE(top.IsCancelled() || middle.IsCancelled() || leaf.IsCancelled());
    std::thread([root] { root->Cancel(); }).join();
    ++leaf;
    EXPECT_TRUE(top.IsCancelled() && middle.IsCancelled() && leaf.IsCancelled());
    EXPECT_TRUE(BranchingProgressReporter(middle.CreateNestedDelegate(1.0), "late", true).IsCancelled());

    auto other = std::make_shared<IProgressDelegate>();
    BranchingProgressReporter branch(other, "branch", true);
    std::shared_ptr<IProgressDelegate> first = branch.CreateNestedDelegate(1.0);
    IncrementalProgressReporter sibling(branch.CreateNestedDelegate(1.0), "sibling", 10, true);
    first->Cancel();
    EXPECT_TRUE(other->IsCancelled() && sibling.IsCancelled());
}
