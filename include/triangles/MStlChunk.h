#pragma once

// The aligned chunks that points and triangles live in, so that an element
// finds its index and store from its own address.

#include <cstddef>
#include <cstdint>

// Points and triangles live in chunks of kChunkBytes bytes, allocated at an
// address that is a multiple of kChunkBytes. An element finds its chunk by
// masking its own address, and the chunk's header tells which store owns it
// and the index of its first element. So an element is nothing but its data
// (12 bytes for a point's coordinates or a triangle's corners), yet knows its
// index, and chunks never move as a store grows.
namespace MStlChunk
{
constexpr std::size_t kChunkBytes = 65536;

struct Header
{
    void const* mp_store;
    std::uint32_t m_first;
};

// The chunk that holds the element at address p.
template <typename Chunk, typename Element>
Chunk* ChunkOf(Element* p)
{
    return reinterpret_cast<Chunk*>(reinterpret_cast<std::uintptr_t>(p) & ~std::uintptr_t(kChunkBytes - 1));
}

// Element indices are 32 bits wide; the largest value is kept free.
constexpr std::uint32_t kMaxElements = 0xFFFFFFFEu;
} // namespace MStlChunk
