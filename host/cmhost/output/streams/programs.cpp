#include "host/cmhost/output/streams/programs.h"

#include <cstddef>
#include <cstring>
#include <new>

namespace cmhost {

namespace {

// The number of the output's stream, or -1.
int indexOf(const std::vector<int>& indexes, unsigned int stream) {
  return stream < indexes.size() ? indexes[stream] : -1;
}

bool hasOutput(const AVProgram& program, const std::vector<int>& indexes) {
  for (unsigned int i = 0; i < program.nb_stream_indexes; ++i)
    if (indexOf(indexes, program.stream_index[i]) >= 0) return true;
  return false;
}

bool isIn(const AVFormatContext& format, int stream) {
  return av_find_program_from_stream(const_cast<AVFormatContext*>(&format), nullptr, stream) !=
         nullptr;
}

void addProgram(const AVProgram& from, const std::vector<int>& indexes, AVFormatContext& to) {
  AVProgram* const program = av_new_program(&to, from.id);
  if (program == nullptr) throw std::bad_alloc();
  av_dict_copy(&program->metadata, from.metadata, 0);
  for (unsigned int i = 0; i < from.nb_stream_indexes; ++i)
    if (const int index = indexOf(indexes, from.stream_index[i]); index >= 0)
      av_program_add_stream_index(&to, from.id, static_cast<unsigned int>(index));
}

bool isServiceId(int id) { return id > 0 && id < 0x10000; }

}  // namespace

void copyServices(const Source& source, const std::vector<int>& indexes, AVFormatContext& to) {
  const AVFormatContext& from = source.format;
  const AVProgram* const own =
      av_find_program_from_stream(&source.format, nullptr, source.video.index);
  if (own == nullptr) return;
  if (std::strcmp(to.oformat->name, "mpegts") != 0) {
    for (const char* const key : {"service_name", "service_provider"})
      if (const AVDictionaryEntry* const entry = av_dict_get(own->metadata, key, nullptr, 0))
        av_dict_set(&to.metadata, key, entry->value, AV_DICT_DONT_OVERWRITE);
    return;
  }
  if (!isServiceId(own->id)) return;
  addProgram(*own, indexes, to);
  for (unsigned int i = 0; i < from.nb_programs; ++i) {
    const AVProgram& program = *from.programs[i];
    if (&program != own && isServiceId(program.id) && hasOutput(program, indexes))
      addProgram(program, indexes, to);
  }
  // A transport stream lists only the streams of its services.
  for (unsigned int i = 0; i < to.nb_streams; ++i)
    if (!isIn(to, static_cast<int>(i))) av_program_add_stream_index(&to, own->id, i);
}

}  // namespace cmhost
