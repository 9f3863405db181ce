// Progress reporting shared by every reporter kind: own and nested units summed
// into one fraction for the delegate, and what is reported after the finish dropped.
#include "common/BaseProgressReporter.h"

#include <algorithm>
#include <cmath>

namespace OndSDK::Common
{
// The work of one reporter, shared with its nested delegates: these may
// outlive the reporter, and what they report after it finished is dropped.
struct BaseProgressReporter::Tally
{
    std::shared_ptr<IProgressDelegate> delegate;
    double ownUnits = 0.0;
    double ownDone = 0.0;
    double nestedUnits = 0.0;
    double nestedDone = 0.0;
    bool finished = false;

    void Report()
    {
        if (!finished)
        {
            delegate->SetProgress((ownDone + nestedDone) / std::max(1.0, ownUnits + nestedUnits));
        }
    }
};

class BaseProgressReporter::NestedDelegate final : public IProgressDelegate
{
public:
    NestedDelegate(std::shared_ptr<Tally> tally, double weight)
        : IProgressDelegate(tally->delegate.get()), m_tally(std::move(tally)), m_weight(weight)
    {
    }

protected:
    void OnProgress(double fraction) override
    {
        m_tally->nestedDone += m_weight * (fraction - m_fraction);
        m_fraction = fraction;
        m_tally->Report();
    }

private:
    std::shared_ptr<Tally> m_tally;
    double m_weight;
    double m_fraction = 0.0;
};

BaseProgressReporter::BaseProgressReporter(std::shared_ptr<IProgressDelegate> const& delegate,
                                           double ownUnits, bool finishOnDestruction)
    : m_delegate(delegate.get()), m_finishOnDestruction(finishOnDestruction)
{
    if (delegate)
    {
        m_tally = std::make_shared<Tally>();
        m_tally->delegate = delegate;
        m_tally->ownUnits = ownUnits;
    }
}

BaseProgressReporter::~BaseProgressReporter()
{
    if (m_tally && m_finishOnDestruction)
    {
        try
        {
            m_delegate->SetProgress(1.0);
        }
        catch (...)
        {
            // A delegate that throws from OnProgress cannot stop a destructor.
        }
    }
    if (m_tally)
    {
        m_tally->finished = true;
    }
}

std::shared_ptr<IProgressDelegate> BaseProgressReporter::CreateNestedDelegate(double weight)
{
    if (!m_tally)
    {
        return {};
    }
    if (!(weight > 0.0) || !std::isfinite(weight))
    {
        weight = 0.0;
    }
    m_tally->nestedUnits += weight;
    // A new sub-task enlarges the total, so the fraction done may have changed.
    m_tally->Report();
    return std::make_shared<NestedDelegate>(m_tally, weight);
}

void BaseProgressReporter::ReportOwnProgress(double unitsDone)
{
    if (m_tally)
    {
        m_tally->ownDone = unitsDone;
        m_tally->Report();
    }
}
} // namespace OndSDK::Common
