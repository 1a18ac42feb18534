#pragma once

namespace cmhost {

constexpr const char* helpText =
    R"(Usage: cmhost [OPTION]... INPUT OUTPUT
  or:  cmhost [OPTION]... --inspect MODULE
Run a video through a filter module: decode INPUT, have the module mark every
frame, write the result to OUTPUT. Sound and other streams are copied.

INPUT is a video file, or '-' for standard input. OUTPUT is the file to write,
whose name chooses the container, '-' for standard output, or 'null:' for
nowhere. A file is written under a temporary name, OUTPUT.RANDOM.part, and gets
its own name when it is complete.

Output:
      --overwrite             replace an existing OUTPUT
      --keep-partial          when an error ends the run, keep what was
                              written, under its temporary name
      --no-sync               do not wait until the disk holds what is written
      --output-format NAME    container to write (default: by OUTPUT's name;
                              yuv4mpegpipe on standard output)
      --encoder NAME          encoder of the video (default: FFV1 in Matroska,
                              raw video in NUT and Y4M, else what is usual in
                              the container)
      --encoder-option KEY=VALUE
                              set an option of the encoder; may be repeated
      --compare               write input and marked picture side by side

Input:
      --input-format NAME     container to read (default: found out)
      --input-option KEY=VALUE
                              set an option of the demuxer, as headerless
                              video needs them; may be repeated
      --allow-references WHAT open what INPUT refers to, as a playlist does:
                              file, or network, which includes file
                              (default: nothing but INPUT is opened)
      --max-pixels N          take no picture of more than N pixels (default:
                              67108864, as 8192x8192 has)
      --start TIME            begin at TIME, in seconds or as [HH:]MM:SS[.m];
                              time in the output counts from there
      --frames N              stop after N frames
      --convert FOURCC        convert the pixels to this layout first: IYUV is
                              8-bit 4:2:0, Y22P 4:2:2, Y44P 4:4:4

Module:
      --module PATH           the filter module to load (default: the one built
                              or installed with cmhost)
      --set KEY=VALUE         set a key of the module's configuration to a
                              FourCC, four characters or 0x and eight digits;
                              may be repeated. 'system_informat' is set from
                              the video unless given
      --module-timeout SECONDS
                              how long the module may show no sign of life
                              before the run ends (default: 60; 0: no limit)
      --inspect MODULE        say what a module is and what it does when it is
                              configured, and mark no video
      --size WIDTHxHEIGHT     frame size to inspect with (default: 1920x1080)
      --layout FOURCC         frame layout to inspect with (default: IYUV)
      --json                  print what --inspect finds as JSON

Looking and checking (frames count from 0):
      --preview FILE.png[@FRAME]
                              write this frame of the output as a PNG
                              (default: frame 0)
      --hash FILE             write the MD5 of every marked frame, as ffmpeg
                              -f framemd5 does; '-' is standard output

Messages:
      --progress WHEN         show progress: auto (on a terminal), always or
                              never
  -q, --quiet                 print warnings and errors only, and nothing that
                              the module prints

  -h, --help                  print this help and exit
      --version               print the version and exit

Exit status:
  0    done
  1    failed
  2    wrong usage
  130  interrupted (SIGINT): OUTPUT is closed properly and holds what was done
  129, 131, 143
       hung up (SIGHUP), quit (SIGQUIT), terminated (SIGTERM): likewise
Signals within a second of the first are the same request. A later one leaves
at once, without OUTPUT.

Examples:
  cmhost in.mp4 out.mp4
  cmhost --encoder libx264 --encoder-option crf=16 in.mov out.mkv
  cmhost --preview look.png@100 --frames 101 in.mkv null:
  cmhost --hash - in.mkv null: > frames.md5
  ffmpeg -i in.mkv -f yuv4mpegpipe - | cmhost - - | ffplay -
)";

}  // namespace cmhost
