#pragma once

// Features of a mesh: named graphs of edges between its points.

#include "common/OndExport.h"

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

class MStlBase;
class MStlPoint;

// An element of one of the host's lists; it hands out the value it holds.
template <typename T>
class DLIST_ELEMENT
{
public:
    explicit DLIST_ELEMENT(T const& data) : m_data(data) {}

    T& GetData() { return m_data; }
    T const& GetData() const { return m_data; }

private:
    T m_data;
};

// An edge between two points of a mesh, named by their indices. Its serial
// number is unique among the edges of the mesh and keys the per-edge data of
// MStlBaseElementInfo.
class OND_EXPORT MStlGraphEdge
{
public:
    MStlGraphEdge(std::uint32_t first, std::uint32_t second, std::uint32_t serial)
        : m_first(first), m_second(second), m_serial(serial)
    {
    }

    std::uint32_t GetFirst() const { return m_first; }
    std::uint32_t GetSecond() const { return m_second; }
    std::uint32_t GetSerial() const { return m_serial; }

private:
    std::uint32_t m_first;
    std::uint32_t m_second;
    std::uint32_t m_serial;
};

class MStlFeature;

// A set of edges between points of its mesh: the beams of a lattice.
class OND_EXPORT MStlGraph
{
public:
    MStlGraph(MStlGraph const&) = delete;
    MStlGraph& operator=(MStlGraph const&) = delete;
    virtual ~MStlGraph();

    virtual std::wstring const& GetName() const;
    void SetName(std::wstring const& name) { m_name = name; }

    // Null when a point is null or not of this graph's mesh, or when both
    // are the same point.
    DLIST_ELEMENT<MStlGraphEdge>* AddEdge(MStlPoint const* first, MStlPoint const* second);

    std::size_t GetNumEdges() const { return m_edges.size(); }
    MStlGraphEdge const& GetEdge(std::size_t index) const { return m_edges[index].GetData(); }

private:
    friend class MStlFeature;

    explicit MStlGraph(MStlFeature& feature);

    MStlFeature* mp_feature;
    std::wstring m_name;
    // A deque, so that handed-out elements keep their addresses.
    std::deque<DLIST_ELEMENT<MStlGraphEdge>> m_edges;
};

// The graphs of one mesh.
class OND_EXPORT MStlFeature
{
public:
    MStlFeature(MStlFeature const&) = delete;
    MStlFeature& operator=(MStlFeature const&) = delete;
    virtual ~MStlFeature();

    // With nonEmptyOnly, graphs without edges are not counted.
    std::size_t GetNumGraphs(bool nonEmptyOnly) const;
    MStlGraph* GetGraph(std::size_t index) { return m_graphs[index].get(); }
    MStlGraph const* GetGraph(std::size_t index) const { return m_graphs[index].get(); }
    MStlGraph* AddNewGraph();

    // The edges of all graphs.
    virtual std::size_t GetNumEdges() const;

private:
    friend class MStlBase;
    friend class MStlGraph;

    explicit MStlFeature(MStlBase const& stl);
    MStlFeature(MStlFeature const& other, MStlBase const& stl);

    // Appends the graphs of another feature as new graphs, with the point
    // indices moved by pointOffset; gives the serial of the first new edge.
    std::uint32_t AppendFrom(MStlFeature const& other, std::uint32_t pointOffset);

    MStlBase const* mp_stl;
    std::vector<std::unique_ptr<MStlGraph>> m_graphs;
    std::uint32_t m_nextSerial = 0;
};

// The graphs of a mesh, in order.
class OND_EXPORT MStlIteratorFeatureGraphConst
{
public:
    static MStlIteratorFeatureGraphConst Begin(MStlBase const* stl);
    static MStlIteratorFeatureGraphConst End(MStlBase const* stl);

    MStlGraph const& operator*() const { return *mp_feature->GetGraph(m_index); }
    MStlGraph const* operator->() const { return mp_feature->GetGraph(m_index); }
    MStlIteratorFeatureGraphConst& operator++()
    {
        ++m_index;
        return *this;
    }
    bool operator!=(MStlIteratorFeatureGraphConst const& other) const { return m_index != other.m_index; }
    bool operator==(MStlIteratorFeatureGraphConst const& other) const { return m_index == other.m_index; }

private:
    MStlIteratorFeatureGraphConst(MStlFeature const* feature, std::size_t index)
        : mp_feature(feature), m_index(index)
    {
    }

    MStlFeature const* mp_feature;
    std::size_t m_index;
};

// The edges of one graph, in the order they were added.
class OND_EXPORT MStlIteratorGraphEdgeConst
{
public:
    static MStlIteratorGraphEdgeConst Begin(MStlGraph const* graph) { return {graph, 0}; }
    static MStlIteratorGraphEdgeConst End(MStlGraph const* graph) { return {graph, graph->GetNumEdges()}; }

    MStlGraphEdge const& operator*() const { return mp_graph->GetEdge(m_index); }
    MStlGraphEdge const* operator->() const { return &mp_graph->GetEdge(m_index); }
    MStlIteratorGraphEdgeConst& operator++()
    {
        ++m_index;
        return *this;
    }
    bool operator!=(MStlIteratorGraphEdgeConst const& other) const { return m_index != other.m_index; }
    bool operator==(MStlIteratorGraphEdgeConst const& other) const { return m_index == other.m_index; }

private:
    MStlIteratorGraphEdgeConst(MStlGraph const* graph, std::size_t index) : mp_graph(graph), m_index(index) {}

    MStlGraph const* mp_graph;
    std::size_t m_index;
};

// All edges of a mesh, graph after graph.
class OND_EXPORT MStlIteratorStlEdgeConst
{
public:
    static MStlIteratorStlEdgeConst Begin(MStlBase const* stl);
    static MStlIteratorStlEdgeConst End(MStlBase const* stl);

    MStlGraphEdge const& operator*() const { return mp_feature->GetGraph(m_graph)->GetEdge(m_edge); }
    MStlGraphEdge const* operator->() const { return &**this; }
    MStlIteratorStlEdgeConst& operator++()
    {
        ++m_edge;
        SkipExhaustedGraphs();
        return *this;
    }
    bool operator!=(MStlIteratorStlEdgeConst const& other) const { return !(*this == other); }
    bool operator==(MStlIteratorStlEdgeConst const& other) const
    {
        return m_graph == other.m_graph && m_edge == other.m_edge;
    }

private:
    MStlIteratorStlEdgeConst(MStlFeature const* feature, std::size_t graph)
        : mp_feature(feature), m_graph(graph), m_edge(0)
    {
    }
    void SkipExhaustedGraphs();

    MStlFeature const* mp_feature;
    std::size_t m_graph;
    std::size_t m_edge;
};
