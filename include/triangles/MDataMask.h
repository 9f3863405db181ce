#pragma once

// Typed masks over points or triangles, addressed by element index.

#include "triangles/IDataMask.h"
#include "triangles/PagedArray.h"

#include "common/OndExport.h"

#include <cstdint>

// Base of masks over elements of type T (MStlPoint or MStlTriangle), which
// address an element by its dense index.
template <typename T>
class OND_EXPORT MDataMaskBase : public IDataMask
{
public:
    explicit MDataMaskBase(IDataMaskOwner* owner) : IDataMask(owner) {}
    ~MDataMaskBase() override = default;

    static std::uint32_t IndexOf(T const& element) { return element.GetIndex(); }
};

// A value V for each element T, in pages of 1024 (page = index >> 10, slot =
// index & 1023) that are allocated on the first write into them. Elements
// added after the mask was made read the default until written, so a mask
// may be made at any time in the life of its mesh.
template <typename T, typename V>
class OND_EXPORT MDataMask : public MDataMaskBase<T>
{
public:
    explicit MDataMask(IDataMaskOwner* owner, V const& defaultValue = V())
        : MDataMaskBase<T>(owner), m_values(defaultValue)
    {
    }

    V& GetInfo(T const& element) { return m_values.Ref(this->IndexOf(element)); }
    V const& GetInfo(T const& element) const { return m_values.Get(this->IndexOf(element)); }
    V& GetInfo(std::uint32_t index) { return m_values.Ref(index); }
    V const& GetInfo(std::uint32_t index) const { return m_values.Get(index); }

    IDataMask* Clone(IDataMaskOwner& owner) const override { return new MDataMask(*this, owner); }

protected:
    MDataMask(MDataMask const& other, IDataMaskOwner& owner)
        : MDataMaskBase<T>(&owner), m_values(other.m_values)
    {
    }

private:
    PagedArray<V> m_values;
};
