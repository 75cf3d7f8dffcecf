#pragma once

/// Whether the file or folder is on a pseudo file system of the kernel, such as /proc and /sys. Content there
/// depends on the process that reads it, and links may lead to what has no path.
bool isKernelFile(int descriptor);
