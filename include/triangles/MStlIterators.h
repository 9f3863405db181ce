#pragma once

// Iterators over a mesh's points and triangles, for range-for loops.

#include "triangles/MStlElementStores.h"

#include <cstdint>
#include <type_traits>

// Walks the points or triangles of a mesh by index. Element is the type
// handed out (const or not), Store the store walked.
template <typename Element, typename Store>
class MStlElementIterator
{
public:
    MStlElementIterator(Store* store, std::uint32_t index) : mp_store(store), m_index(index) {}

    Element& operator*() const { return mp_store->At(m_index); }
    Element* operator->() const { return &mp_store->At(m_index); }
    operator Element*() const { return &mp_store->At(m_index); }

    MStlElementIterator& operator++()
    {
        ++m_index;
        return *this;
    }
    bool operator==(MStlElementIterator const& other) const { return m_index == other.m_index; }
    bool operator!=(MStlElementIterator const& other) const { return m_index != other.m_index; }

private:
    Store* mp_store;
    std::uint32_t m_index;
};

template <typename Triangle>
using MStlIteratorStlTriangleGeneric = MStlElementIterator<
    Triangle, std::conditional_t<std::is_const_v<Triangle>, MStlTriangleStore const, MStlTriangleStore>>;
using MStlIteratorStlTriangle = MStlIteratorStlTriangleGeneric<MStlTriangle>;
using MStlIteratorStlTriangleConst = MStlIteratorStlTriangleGeneric<MStlTriangle const>;

// Points can't be changed through MStlPoint, so walking them never makes a
// mesh take its own copy of shared storage.
using MStlIteratorStlPoint = MStlElementIterator<MStlPoint, MStlPointStore>;
using MStlIteratorStlPointConst = MStlElementIterator<MStlPoint const, MStlPointStore const>;
