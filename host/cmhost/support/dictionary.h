#pragma once

extern "C" {
#include <libavutil/dict.h>
}

#include <string>
#include <utility>
#include <vector>

namespace cmhost {

/// Options for the media libraries, which remove the options that they recognise.
class Dictionary {
 public:
  Dictionary() = default;
  explicit Dictionary(const std::vector<std::pair<std::string, std::string>>& entries) {
    for (const auto& [key, value] : entries) set(key.c_str(), value.c_str());
  }
  ~Dictionary() { av_dict_free(&entries_); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  void set(const char* key, const char* value) { av_dict_set(&entries_, key, value, 0); }
  void setDefault(const char* key, const char* value) {
    av_dict_set(&entries_, key, value, AV_DICT_DONT_OVERWRITE);
  }

  /// Empty when there is no such entry.
  std::string value(const char* key) const {
    const AVDictionaryEntry* const entry = av_dict_get(entries_, key, nullptr, 0);
    return entry != nullptr ? entry->value : "";
  }

  /// For functions of the media libraries, which may change the entries.
  AVDictionary** entries() { return &entries_; }

  /// The first remaining entry; null when there is none.
  const AVDictionaryEntry* first() const {
    return av_dict_get(entries_, "", nullptr, AV_DICT_IGNORE_SUFFIX);
  }

 private:
  AVDictionary* entries_ = nullptr;
};

}  // namespace cmhost
