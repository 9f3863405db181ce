// Graphs of edges between a mesh's own points, which the mesh carries as features.
#include "triangles/MStlFeature.h"

#include "triangles/MStlBase.h"

#include <algorithm>

MStlGraph::MStlGraph(MStlFeature& feature) : mp_feature(&feature) {}

MStlGraph::~MStlGraph() = default;

std::wstring const& MStlGraph::GetName() const
{
    return m_name;
}

DLIST_ELEMENT<MStlGraphEdge>* MStlGraph::AddEdge(MStlPoint const* first, MStlPoint const* second)
{
    MStlBase const& stl = *mp_feature->mp_stl;
    if (first == second || !stl.OwnsPoint(first) || !stl.OwnsPoint(second))
    {
        return nullptr;
    }
    m_edges.emplace_back(MStlGraphEdge(first->GetIndex(), second->GetIndex(), mp_feature->m_nextSerial++));
    return &m_edges.back();
}

MStlFeature::MStlFeature(MStlBase const& stl) : mp_stl(&stl) {}

MStlFeature::MStlFeature(MStlFeature const& other, MStlBase const& stl) : mp_stl(&stl)
{
    AppendFrom(other, 0);
}

MStlFeature::~MStlFeature() = default;

std::size_t MStlFeature::GetNumGraphs(bool nonEmptyOnly) const
{
    if (!nonEmptyOnly)
    {
        return m_graphs.size();
    }
    return static_cast<std::size_t>(std::count_if(
        m_graphs.begin(), m_graphs.end(), [](auto const& graph) { return graph->GetNumEdges() > 0; }));
}

MStlGraph* MStlFeature::AddNewGraph()
{
    m_graphs.emplace_back(new MStlGraph(*this));
    return m_graphs.back().get();
}

std::size_t MStlFeature::GetNumEdges() const
{
    std::size_t count = 0;
    for (auto const& graph : m_graphs)
    {
        count += graph->GetNumEdges();
    }
    return count;
}

std::uint32_t MStlFeature::AppendFrom(MStlFeature const& other, std::uint32_t pointOffset)
{
    std::uint32_t const firstSerial = m_nextSerial;
    // Counted first: other may be this feature.
    std::size_t const count = other.m_graphs.size();
    for (std::size_t index = 0; index < count; ++index)
    {
        MStlGraph const& from = *other.m_graphs[index];
        MStlGraph& to = *AddNewGraph();
        to.m_name = from.m_name;
        for (auto const& element : from.m_edges)
        {
            MStlGraphEdge const& edge = element.GetData();
            to.m_edges.emplace_back(MStlGraphEdge(edge.GetFirst() + pointOffset,
                                                  edge.GetSecond() + pointOffset,
                                                  firstSerial + edge.GetSerial()));
        }
    }
    m_nextSerial = firstSerial + other.m_nextSerial;
    return firstSerial;
}

MStlIteratorFeatureGraphConst MStlIteratorFeatureGraphConst::Begin(MStlBase const* stl)
{
    return MStlIteratorFeatureGraphConst(&stl->GetFeature(), 0);
}

MStlIteratorFeatureGraphConst MStlIteratorFeatureGraphConst::End(MStlBase const* stl)
{
    return MStlIteratorFeatureGraphConst(&stl->GetFeature(), stl->GetFeature().GetNumGraphs(false));
}

MStlIteratorStlEdgeConst MStlIteratorStlEdgeConst::Begin(MStlBase const* stl)
{
    MStlIteratorStlEdgeConst begin(&stl->GetFeature(), 0);
    begin.SkipExhaustedGraphs();
    return begin;
}

MStlIteratorStlEdgeConst MStlIteratorStlEdgeConst::End(MStlBase const* stl)
{
    return MStlIteratorStlEdgeConst(&stl->GetFeature(), stl->GetFeature().GetNumGraphs(false));
}

void MStlIteratorStlEdgeConst::SkipExhaustedGraphs()
{
    std::size_t const graphs = mp_feature->GetNumGraphs(false);
    while (m_graph < graphs && m_edge >= mp_feature->GetGraph(m_graph)->GetNumEdges())
    {
        ++m_graph;
        m_edge = 0;
    }
}
