#pragma once

namespace tavrin {

/// Gives the system back, soon and on another thread, what this process has freed and its allocator
/// keeps between what is in use. Any thread.
void giveBackFreedMemory();

/// Gives the system back the pages of a large block that the calling thread has just freed, and its
/// heap keeps. libmpv fills 10 MiB with zeros to find out what a file is. No trim gives these back
/// where they lie at the end of a heap, and each opening may leave them in another thread's.
void giveBackProbedMemory();

}  // namespace tavrin
