#include "tests/host/cmhost/input/integrity/hostile/seed_clips.h"

extern "C" {
#include <libavutil/log.h>
}

#include <cstring>

#include "tests/host/cmhost/fixtures/clip.h"
#include "tests/host/cmhost/fixtures/program.h"

namespace hostile {

void PrintTo(const SeedClip& seed, std::ostream* to) { *to << seed.name; }

const std::vector<SeedClip>& seedClips() {
  constexpr AVPixelFormat yuv = AV_PIX_FMT_YUV420P;
  constexpr AVPixelFormat fullRange = AV_PIX_FMT_YUVJ420P;
  constexpr AVPixelFormat rgb = AV_PIX_FMT_RGB24;
  static const std::vector<SeedClip> seeds = {
      {"mkv_ffv1", "mkv", "ffv1", yuv, Loss::told, true, true},
      {"mkv_h264", "mkv", "libx264"},
      {"mkv_png", "mkv", "png", rgb, Loss::told, false, true},
      {"mkv_utvideo", "mkv", "utvideo"},
      {"mp4_mpeg4", "mp4", "mpeg4", yuv, Loss::toldInMedia},
      {"mp4_h264", "mp4", "libx264", yuv, Loss::toldInMedia},
      {"mp4_hevc", "mp4", "libx265", yuv, Loss::toldInMedia},
      {"mov_mjpeg", "mov", "mjpeg", fullRange, Loss::toldInMedia, true},
      {"mov_tiff", "mov", "tiff", rgb, Loss::toldInMedia},
      {"3gp_h263", "3gp", "h263", yuv, Loss::toldInMedia},
      {"avi_mpeg4", "avi", "mpeg4", yuv, Loss::told, true},
      {"avi_ffvhuff", "avi", "ffvhuff"},
      {"webm_vp8", "webm", "libvpx"},
      {"webm_vp9", "webm", "libvpx-vp9"},
      {"ogg_theora", "ogg", "libtheora"},
      {"flv", "flv", "flv"},
      {"mpg_mpeg1", "mpg", "mpeg1video"},
      {"vob_mpeg2", "vob", "mpeg2video", yuv, Loss::silent},
      {"ts_mpeg2", "ts", "mpeg2video", yuv, Loss::silent},
      {"ts_h264", "ts", "libx264", yuv, Loss::silent},
      {"m2v", "m2v", "mpeg2video", yuv, Loss::silent},
      {"h264", "h264", "libx264", yuv, Loss::silent},
      {"hevc", "hevc", "libx265", yuv, Loss::silent},
      {"m4v", "m4v", "mpeg4", yuv, Loss::silent},
      {"mjpeg", "mjpeg", "mjpeg", fullRange, Loss::silent},
      {"mxf_mpeg2", "mxf", "mpeg2video", yuv, Loss::told, true},
      {"wmv", "wmv", "wmv2", yuv, Loss::silent, true},
      {"nut_raw", "nut", "rawvideo", yuv, Loss::silent, true},
      {"nut_ffv1", "nut", "ffv1", yuv, Loss::silent, false, true},
      {"y4m", "y4m", "wrapped_avframe"},
      {"gif", "gif", "gif", AV_PIX_FMT_RGB8, Loss::silent},
      {"apng", "apng", "apng", rgb, Loss::told, false, true},
      {"rm", "rm", "rv10", yuv, Loss::silent},
      {"ivf_vp8", "ivf", "libvpx"},
      {"swf", "swf", "flv", yuv, Loss::silent},
  };
  return seeds;
}

std::string bytesOf(const SeedClip& seed) {
  const bool onlySomeSizes = std::strcmp(seed.encoder, "h263") == 0;
  clip::Clip clip;
  clip.encoder = seed.encoder;
  clip.pictures =
      clip::drawMany(seed.format, onlySomeSizes ? 176 : 96, onlySomeSizes ? 144 : 64, seedFrames);
  if (seed.format == AV_PIX_FMT_YUVJ420P) clip.tags.range = AVCOL_RANGE_JPEG;
  if (seed.sound) clip.audio = clip::tone(seedFrames);
  const program::Folder folder;
  const std::string path = folder / (std::string("seed.") + seed.extension);
  const int level = av_log_get_level();
  av_log_set_level(AV_LOG_QUIET);  // encoders log what they do
  clip::write(path, clip);
  av_log_set_level(level);
  return program::readFile(path);
}

}  // namespace hostile
