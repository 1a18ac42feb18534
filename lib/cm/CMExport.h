#pragma once

/// Marks the names that the host's library exports. A module is compiled with hidden visibility and
/// finds the host's classes, their virtual tables and their type information by name at load time,
/// so these names must be visible on both sides.
#define CM_API __attribute__((visibility("default")))
