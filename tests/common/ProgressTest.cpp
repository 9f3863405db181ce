#include "common/BranchingProgressReporter.h"
#include "common/IncrementalProgressReporter.h"

#include <gtest/gtest.h>

#include <chrono>
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

bool NeverDecreases(std::vector<double> const& values)
{
    for (std::size_t i = 1; i < values.size(); ++i)
    {
        if (values[i] < values[i - 1])
        {
            return false;
        }
    }
    return true;
}
} // namespace

TEST(Progress, NestedWeightsAddUpAtTheRoot)
{
    auto root = std::make_shared<RecordingDelegate>();
    {
        BranchingProgressReporter branch(root, "load", true);
        std::shared_ptr<IProgressDelegate> light = branch.CreateNestedDelegate(1.0);
        std::shared_ptr<IProgressDelegate> heavy = branch.CreateNestedDelegate(3.0);
        {
            IncrementalProgressReporter steps(light, "light", 10, true);
            for (int i = 0; i < 10; ++i)
            {
                ++steps;
            }
        }
        EXPECT_DOUBLE_EQ(0.25, root->GetProgress());
        {
            IncrementalProgressReporter bytes(heavy, "heavy", 1000, true);
            bytes = 500;
            EXPECT_DOUBLE_EQ(0.25 + 0.75 * 0.5, root->GetProgress());
        }
        EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    }
    EXPECT_DOUBLE_EQ(1.0, root->GetProgress());
    EXPECT_TRUE(NeverDecreases(root->seen));
}

TEST(Progress, DeepNestingScalesEachLevel)
{
    auto root = std::make_shared<IProgressDelegate>();
    BranchingProgressReporter outer(root, "outer", true);
    std::shared_ptr<IProgressDelegate> half = outer.CreateNestedDelegate(0.5);
    BranchingProgressReporter inner(half, "inner", true);
    std::shared_ptr<IProgressDelegate> quarter = inner.CreateNestedDelegate(0.5);
    IncrementalProgressReporter steps(quarter, "steps", 4, true);
    steps += 2;
    // Half of a half of a half.
    EXPECT_DOUBLE_EQ(0.125, root->GetProgress());
    // Weights below 1 leave the rest to the end of the reporter.
    EXPECT_DOUBLE_EQ(0.5, quarter->GetProgress());
    EXPECT_DOUBLE_EQ(0.25, half->GetProgress());
}

TEST(Progress, CountingIsThrottledButEndsExact)
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
    EXPECT_TRUE(NeverDecreases(root->seen));
}

TEST(Progress, CountsAreClampedMayGoBackAndShareTheTotalWithNestedWork)
{
    auto root = std::make_shared<IProgressDelegate>();
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
}

TEST(Progress, CancelFromAnotherThreadReachesEveryReporterBelow)
{
    auto root = std::make_shared<IProgressDelegate>();
    BranchingProgressReporter top(root, "top", true);
    BranchingProgressReporter middle(top.CreateNestedDelegate(1.0), "middle", true);
    IncrementalProgressReporter leaf(middle.CreateNestedDelegate(2.0), "leaf", UINT64_MAX, true);
    EXPECT_FALSE(top.IsCancelled() || middle.IsCancelled() || leaf.IsCancelled());

    std::thread canceller(
        [root]
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
            root->Cancel();
        });
    auto const deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (!leaf.IsCancelled() && std::chrono::steady_clock::now() < deadline)
    {
        ++leaf;
    }
    canceller.join();
    EXPECT_TRUE(top.IsCancelled() && middle.IsCancelled() && leaf.IsCancelled());
    // A delegate made after the cancel is cancelled too.
    EXPECT_TRUE(BranchingProgressReporter(middle.CreateNestedDelegate(1.0), "late", true).IsCancelled());
}

// One flag serves a whole tree: cancelling any delegate stops the operation.
TEST(Progress, CancelOnANestedDelegateStopsTheWholeOperation)
{
    auto root = std::make_shared<IProgressDelegate>();
    BranchingProgressReporter top(root, "top", true);
    std::shared_ptr<IProgressDelegate> first = top.CreateNestedDelegate(1.0);
    IncrementalProgressReporter sibling(top.CreateNestedDelegate(1.0), "sibling", 10, true);
    first->Cancel();
    EXPECT_TRUE(root->IsCancelled() && sibling.IsCancelled());
}

TEST(Progress, EmptyDelegateReportsNothingAndNeverCancels)
{
    std::shared_ptr<IProgressDelegate> const none;
    BranchingProgressReporter branch(none, "branch", true);
    std::shared_ptr<IProgressDelegate> nested = branch.CreateNestedDelegate(1.0);
    EXPECT_EQ(nullptr, nested);
    EXPECT_FALSE(branch.IsCancelled());
    IncrementalProgressReporter steps(nested, "steps", 3, true);
    ++steps;
    steps += 5;
    steps = UINT64_MAX;
    EXPECT_FALSE(steps.IsCancelled());
    EXPECT_EQ(nullptr, steps.CreateNestedDelegate(2.0));
}
