#pragma once

namespace cmhost {

constexpr const char* helpText =
    R"(Usage: cmhost [OPTION]... INPUT OUTPUT
  or:  cmhost [OPTION]... --output-dir DIR INPUT...
  or:  cmhost [OPTION]... --inspect MODULE
  or:  cmhost --list-encoders
Run a video through a filter module: decode INPUT, let the module mark every
frame, and write the result to OUTPUT. Audio and other streams are copied or,
where OUTPUT's container does not support them, converted.

INPUT is a video file, or '-' for standard input. OUTPUT is the file to write
(its extension selects the container), '-' for standard output, or 'null:' to
discard the video. Both may be a still picture, such as photo.jpg, or a
numbered sequence of them, such as in-%05d.png; or network addresses: http,
https, rtmp, rtmps, rtp, srt, tcp or udp. OUTPUT may be an HLS playlist, such
as live.m3u8. A file is written under a temporary name, OUTPUT.RANDOM.part,
and renamed when it is complete.

Output:
      --output-dir DIR        process several inputs, each in its own process,
                              and write them to DIR under their own names, with
                              the extension of --output-format if given
      --jobs N                inputs to process at the same time (default: 1)
      --skip-existing         skip inputs whose output exists
      --overwrite             replace an existing OUTPUT
      --keep-partial          if the run fails, keep the partial OUTPUT under
                              its temporary name
      --no-sync               do not wait until the data is on disk
      --output-format NAME    container to write (default: from OUTPUT's
                              extension; yuv4mpegpipe on standard output)
      --encoder NAME          video encoder (default: the container's usual
                              one, such as H.264 in MP4 and Matroska; MPEG-2,
                              H.264 and HEVC stay so in transport streams)
      --crf N                 constant quality; a lower number is better
      --bitrate RATE          average bits per second, such as 5M or 800k
      --preset NAME           speed of the encoder
      --lossless              keep every sample (default encoder in Matroska
                              and AVI: FFV1)
      --rate R                constant frame rate, such as 25 or 30000/1001;
                              frames are repeated or dropped (default: that of
                              INPUT, or the nearest that the encoder supports)
      --encoder-option KEY=VALUE
                              set an encoder option; may be repeated
      --muxer-option KEY=VALUE
                              set an option of the container's muxer; may be
                              repeated
      --list-encoders         print the encoders for each container and their
                              options
      --threads N             threads of the decoder and of the encoder
                              (default: 0, as many as there are processors)
      --audio WHAT            copy audio, and encode what the container lacks
                              (copy, the default); encode all of it (encode);
                              or leave it out (none)
      --keep-other-video      copy the other video streams without the mark
      --strict                fail if a stream has no place in OUTPUT (default:
                              leave it out with a warning)
      --compare               write input and marked video side by side

Input:
      --input-format NAME     container to read (default: detected)
      --input-option KEY=VALUE
                              set a demuxer option, such as the frame size of
                              headerless video; may be repeated
      --allow-references WHAT open what INPUT refers to, such as the parts of
                              a playlist: file, or network, which includes
                              file (default: open nothing but INPUT)
      --conceal               finish a damaged or incomplete INPUT: keep what
                              the decoder can restore, and exit with status 3
      --max-pixels N          reject frames of more than N pixels (default:
                              67108864, which is 8192x8192)
      --video N               mark video stream N, counted from 0 and without
                              covers (default: the best one)
      --start TIME            start at TIME, in seconds or as [HH:]MM:SS[.m];
                              time stamps in the output count from there
      --frames N              stop after N frames
      --convert LAYOUT        convert the pixels to this layout first: IYUV
                              (8-bit 4:2:0), Y22P (4:2:2) or Y44P (4:4:4);
                              auto: only what the module does not support, to
                              IYUV, which all players support
      --no-rotate             mark the frames as stored, not as players turn
                              them, and keep the rotation tag

Module:
      --module PATH           filter module to load (default: the one built or
                              installed with cmhost)
      --set KEY=VALUE         set a configuration key of the module to a FourCC
                              (four characters, or 0x and eight hexadecimal
                              digits); may be repeated. 'system_informat' is
                              set to the frame layout by default
      --module-timeout SECONDS
                              end the run when the module shows no activity
                              for this long (default: 60; 0: no limit)
      --inspect MODULE        load and configure a module and print what it
                              reports; no video is processed
      --size WIDTHxHEIGHT     frame size for --inspect (default: 1920x1080)
      --layout FOURCC         frame layout for --inspect (default: IYUV)
      --json                  print the result of --inspect as JSON

Preview and checksums (frames are numbered from 0):
      --preview FILE.png[@FRAME]
                              write one frame of the output as a PNG (default:
                              frame 0)
      --hash FILE             write the MD5 of every marked frame, as ffmpeg
                              -f framemd5 does; '-' is standard output

Messages:
      --report FILE.json      write a report as JSON, also if the run fails:
                              frames, times, damage, streams left out, MD5 of
                              file and frames; '-' is standard output
      --progress WHEN         show progress: auto (on a terminal), always,
                              never, or json (one object per line)
  -q, --quiet                 print only warnings and errors; hide what the
                              module prints

  -h, --help                  print this help and exit
      --version               print the version and exit

Exit status:
  0    success
  1    failure
  2    invalid usage
  3    done, with damage: --conceal has finished a damaged INPUT; OUTPUT is
       complete
  130  interrupted (SIGINT): OUTPUT is closed properly and contains the frames
       finished so far
  129, 131, 143
       the same for SIGHUP, SIGQUIT and SIGTERM
Signals within one second of the first are ignored. A later signal ends the
run at once and discards the unfinished OUTPUT.

Examples:
  cmhost in.mp4 out.mp4
  cmhost in-%05d.png out-%05d.png
  cmhost --crf 16 --preset slow in.mov out.mkv
  cmhost --preview look.png@100 --frames 101 in.mkv null:
  cmhost --hash - in.mkv null: > frames.md5
  ffmpeg -i in.mkv -f yuv4mpegpipe - | cmhost - - | ffplay -
)";

}  // namespace cmhost
