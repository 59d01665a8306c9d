#pragma once

#include <cstddef>
#include <new>
#include <utility>
#include <vector>

#include <hwy/aligned_allocator.h>

namespace kestrel {

// Keeps the memory that a feature needs for one frame for the next one: allocating it again for each frame
// costs as much as the arithmetic. REQUIRES: one thread uses it at a time.
class Scratch {
public:
    // After this, take() returns the same blocks again.
    void restart() { m_next = 0; }
    // Returns uninitialised room for so many floats, valid until the next restart().
    float *take(std::size_t count)
    {
        if (m_next == m_blocks.size())
            m_blocks.emplace_back();
        Block &block = m_blocks[m_next++];
        if (block.count < count) {
            block = {hwy::AllocateAligned<float>(count), count};
            if (!block.values) {
                block.count = 0;
                throw std::bad_alloc();
            }
        }
        return block.values.get();
    }

private:
    struct Block {
        hwy::AlignedFreeUniquePtr<float[]> values;
        std::size_t count = 0;
    };

    std::vector<Block> m_blocks;
    std::size_t m_next = 0;
};

// Holds rows of floats that vectors may read and write beyond either end, by as many values as the margin is
// wide. Values there are undefined until they are written.
class FloatRows {
public:
    static constexpr std::size_t margin = 48; // the widest reach of a filter, and two vectors
    static constexpr std::size_t lanes = 16;  // of the widest vector that is used

    FloatRows(Scratch &scratch, std::size_t width, std::size_t count)
        : m_stride((width + 2 * margin + lanes - 1) / lanes * lanes), m_values(scratch.take(m_stride * count))
    {
    }

    float *row(std::size_t i) const { return m_values + i * m_stride + margin; }

private:
    std::size_t m_stride;
    float *m_values;
};

} // namespace kestrel
