#pragma once

// The growing list of chunks of one element store, which keeps elements in place.

#include "triangles/MStlChunk.h"

#include <cstdint>
#include <memory>
#include <new>
#include <stdexcept>
#include <vector>

// The chunks of one store, in index order. Chunks are allocated one at a time
// as the store grows, so that adding an element is O(1) and no element ever
// moves; the table of chunk pointers is the only thing that is reallocated.
template <typename Chunk>
class MStlChunkTable
{
public:
    static constexpr std::uint32_t kCapacity = Chunk::kCapacity;

    explicit MStlChunkTable(void const* store) : mp_store(store) {}
    MStlChunkTable(MStlChunkTable const&) = delete;
    MStlChunkTable& operator=(MStlChunkTable const&) = delete;

    std::uint32_t Size() const { return m_size; }
    void const* GetStore() const { return mp_store; }

    Chunk& ChunkAt(std::uint32_t number) { return *m_chunks[number]; }
    Chunk const& ChunkAt(std::uint32_t number) const { return *m_chunks[number]; }
    std::uint32_t NumberOfChunks() const { return static_cast<std::uint32_t>(m_chunks.size()); }

    // Makes room for `count` more elements, so that the following appends
    // cannot fail half way. Throws std::length_error past 32-bit indices.
    void Reserve(std::uint64_t count)
    {
        std::uint64_t const needed = std::uint64_t(m_size) + count;
        if (needed > MStlChunk::kMaxElements)
        {
            throw std::length_error("a mesh holds at most 4294967294 points and as many triangles");
        }
        while (std::uint64_t(m_chunks.size()) * kCapacity < needed)
        {
            m_chunks.reserve(m_chunks.size() + 1);
            void* memory = ::operator new(sizeof(Chunk), std::align_val_t(MStlChunk::kChunkBytes));
            Chunk* chunk = new (memory) Chunk;
            chunk->m_header.mp_store = mp_store;
            chunk->m_header.m_first = static_cast<std::uint32_t>(m_chunks.size()) * kCapacity;
            m_chunks.emplace_back(chunk);
        }
    }

    // Adds `count` elements at the end, left for the caller to fill, and
    // gives the index of the first.
    std::uint32_t Extend(std::uint32_t count)
    {
        Reserve(count);
        std::uint32_t const first = m_size;
        m_size += count;
        return first;
    }

    bool Owns(void const* element, std::uint32_t index) const
    {
        return element != nullptr && index < m_size &&
               MStlChunk::ChunkOf<MStlChunk::Header const>(element)->mp_store == mp_store;
    }

private:
    struct Release
    {
        void operator()(Chunk* chunk) const
        {
            chunk->~Chunk();
            ::operator delete(chunk, std::align_val_t(MStlChunk::kChunkBytes));
        }
    };

    void const* mp_store;
    std::vector<std::unique_ptr<Chunk, Release>> m_chunks;
    std::uint32_t m_size = 0;
};
