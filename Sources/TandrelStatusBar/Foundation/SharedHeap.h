#pragma once

namespace tandrel {

/// From now on all threads take their memory from one heap. Threads that come and go with each
/// loss of a microphone would otherwise spread what little they need, and what a connection leaves
/// behind that was lost, over ever more heaps of their own, which keep what they once had. To be
/// called before there are threads.
void shareOneHeap();

} // namespace tandrel
