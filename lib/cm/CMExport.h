#pragma once

/// Marks what the host's library exports. A module is compiled with hidden visibility and meets the
/// host's classes, their tables and their type information under these names at load time, so each
/// of them must be visible on both sides.
#define CM_API __attribute__((visibility("default")))
