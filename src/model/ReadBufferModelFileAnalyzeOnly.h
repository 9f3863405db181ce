#pragma once

// A read buffer giving only the head of a model part, for analysing a package
// without parsing its meshes.

#include "zip/IReadBuffer.h"

#include <cstdint>
#include <memory>
#include <vector>

namespace Format_3MF
{
// The head of a model part, up to its "resources" element, closed with
// "</model>": a quick look at a package needs no parse of its meshes. The
// source is read in the constructor; a part without "<resources>" (in any
// letter case, UTF-8 or UTF-16 little-endian) gives an empty document.
class ReadBufferModelFileAnalyzeOnly : public IReadBuffer
{
public:
    explicit ReadBufferModelFileAnalyzeOnly(IReadBuffer* source);

    std::size_t Read(char* data, std::size_t size) override;

private:
    std::unique_ptr<IReadBuffer> m_source;
    std::vector<char> m_block;
    std::vector<char> m_data;
    std::size_t m_position = 0;
    bool m_found = false;
};
} // namespace Format_3MF
