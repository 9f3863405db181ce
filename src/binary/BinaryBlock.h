// Finding a block of records in a model's binary part on reading. A file
// from elsewhere may claim any position and count: the block is checked
// against the size of the part before a record is read or a byte reserved.
#pragma once

#include "binary/BinaryRef.h"

class MFile;

namespace Format_3MF
{
class ModelFileBinary;

// The part's file, positioned on the first record of `ref`. Throws
// Format_3MF::Exception naming the problem when the model has no binary
// part, the part could not be unpacked, or the block does not lie wholly
// inside the part.
MFile& SeekBinaryBlock(ModelFileBinary* part, BinaryRef const& ref);
} // namespace Format_3MF
