#pragma once

/// Whether the file or folder behind this descriptor is the kernel's own, as in /proc and /sys: its content
/// is made for the process that asks, and its links lead where no path does.
bool isKernelFile(int descriptor);
