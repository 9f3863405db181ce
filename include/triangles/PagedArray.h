#pragma once

// A sparse per-element array that costs nothing until written, for data only
// some meshes carry.

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <vector>

// Values by element index, in pages of 1024 that are allocated on the first
// write into them. Reading an index whose page is missing gives the default,
// so a store of this kind costs nothing until it is written and never has to
// follow the growth of the elements it describes.
template <typename V>
class PagedArray
{
public:
    static constexpr unsigned kPageBits = 10;
    static constexpr std::uint32_t kPageSize = std::uint32_t(1) << kPageBits;
    static constexpr std::uint32_t kSlotMask = kPageSize - 1;

    explicit PagedArray(V const& defaultValue = V()) : m_default(defaultValue) {}

    PagedArray(PagedArray const& other) : m_default(other.m_default), m_pages(other.m_pages.size())
    {
        for (std::size_t page = 0; page < other.m_pages.size(); ++page)
        {
            if (other.m_pages[page])
            {
                m_pages[page] = std::make_unique<V[]>(kPageSize);
                std::copy_n(other.m_pages[page].get(), kPageSize, m_pages[page].get());
            }
        }
    }
    PagedArray& operator=(PagedArray const&) = delete;

    V const& Get(std::uint32_t index) const
    {
        std::size_t const page = index >> kPageBits;
        if (page >= m_pages.size() || !m_pages[page])
        {
            return m_default;
        }
        return m_pages[page][index & kSlotMask];
    }

    // The value to write; allocates its page filled with the default.
    V& Ref(std::uint32_t index)
    {
        std::size_t const page = index >> kPageBits;
        if (page >= m_pages.size())
        {
            m_pages.resize(page + 1);
        }
        if (!m_pages[page])
        {
            m_pages[page] = std::make_unique<V[]>(kPageSize);
            std::fill_n(m_pages[page].get(), kPageSize, m_default);
        }
        return m_pages[page][index & kSlotMask];
    }

    // True while nothing was ever written.
    bool IsEmpty() const { return m_pages.empty(); }

private:
    V m_default;
    std::vector<std::unique_ptr<V[]>> m_pages;
};
