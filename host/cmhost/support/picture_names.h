#pragma once

#include <string>

namespace cmhost {

/// Whether a name stands for numbered files: it contains `%d`, or `%0Nd` for N digits.
bool isNumbered(const std::string& name);

/// The name of the file with this number, or `name` itself if it is not numbered.
std::string numberedName(const std::string& name, int number);

/// Whether `path` is one of the files that the numbered name stands for.
bool isOneOf(const std::string& name, const std::string& path);

/// The first file of a sequence to be read. If `name` is not numbered, or a file has this very
/// name, it is the name itself. The sequence starts at `start` or up to four numbers later, as in
/// ffmpeg.
std::string firstOf(const std::string& name, int start = 0);

/// Whether `name` stands for files to be read one after another.
bool isSequence(const std::string& name);

}  // namespace cmhost
