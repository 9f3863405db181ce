#pragma once

// An output stream that compresses on a second thread, so that writing a big
// part costs little more than printing it.

#include "zip/IWriteBuffer.h"

#include <memory>
#include <ostream>

// An output stream that takes over the buffer and hands the bytes to it on a
// thread of its own, so that compressing runs beside the printing.
//
// Bytes travel in blocks of 256 KiB through a queue of at most four blocks,
// so memory stays the same whatever the size of the entry; their order is
// kept. A stream that never fills a block starts no thread and hands its
// bytes over on flush or destruction.
//
// Failures: an exception thrown by the buffer on the worker thread is kept
// and rethrown to the writer by the next operation that hands a block over
// (a write that fills the block) or by flush(); the stream then has badbit
// set (its exception mask holds badbit). flush() waits until every byte
// written so far is in the buffer, so it is the way to learn of a failure
// before the end. Destroying the stream waits for the remaining bytes to
// reach the buffer and then destroys the buffer, which closes the entry; a
// failure at that point is dropped, never thrown.
std::unique_ptr<std::ostream> CreateAsyncWriteBufferStream(std::unique_ptr<IWriteBuffer> buffer);
