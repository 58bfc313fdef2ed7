#include "tools/quorel-subtitles/arguments.h"

namespace quorel::subtitles_tool {
namespace {

constexpr std::string_view general =
    R"(quorel-subtitles: converts, shifts and checks subtitle files

usage: quorel-subtitles COMMAND [options] FILE...

  convert   write files in another format or encoding
  shift     move cues in time
  info      tell what is in files
  check     tell whether files can be read, and where not
  formats   list the formats

examples
  quorel-subtitles convert film.srt -o film.vtt
  quorel-subtitles convert 'season 1/*.srt' --to vtt -o web/
  quorel-subtitles shift film.srt --offset -2.5 --in-place
  quorel-subtitles check --recursive .
  curl -s https://example.org/film.srt | quorel-subtitles convert - --from srt --to ttml > film.ttml

'quorel-subtitles COMMAND --help' tells more about each, --version the version.

exit codes
  0  all of it was done
  1  some file could not be read or written, or was not overwritten; for check: some file has errors
  2  the command line makes no sense
)";

constexpr std::string_view convert =
    R"(quorel-subtitles convert: writes files in another format or encoding

usage: quorel-subtitles convert FILE... (--to FORMAT | -o FILE) [options]

  FILE is a file, a folder (its subtitle files), a pattern in quotes ('*.srt'), or - for standard input.
  The formats are those of 'quorel-subtitles formats' and go by file extensions: srt, vtt, ttml, ...

what is read
  --from FORMAT           the format, where the file's extension does not say it (needed for standard input)
  --encoding NAME         the encoding, as windows-1252 (default: detected)
  --fps N                 frames per second of sub files, whose times are frames (default: 24)
  --recursive             go into the folders of folders

what is written
  --to FORMAT             the format (default: that of the name behind -o)
  -o, --output PATH       the file; for more than one, or with a / at its end, the folder; - for standard output
                          (default: beside the file that is read, with another extension; for standard input,
                          standard output)
  --output-encoding NAME  the encoding (default: UTF-8)
  --offset TIME           move all cues by TIME, as -2.5 (seconds) or +00:01:02.500; none goes below zero
  --at TIME               with --offset, only the cues that begin at TIME or later
  --force                 overwrite files that exist

what is told
  --json                  one JSON object per line and file, on standard output
  --quiet                 nothing but errors
  What a format has no place for (speakers, names of cues, ends) is lost, and a warning says so.

Files are written whole or not at all: to a temporary file in the same folder, which then takes the name. An error in
one file does not keep the others from being converted.

exit codes
  0  all files were converted
  1  some file was not: it could not be read, decoded or written, or its target exists and there was no --force
  2  the command line makes no sense
)";

constexpr std::string_view shift =
    R"(quorel-subtitles shift: moves cues in time

usage: quorel-subtitles shift FILE... --offset TIME (--in-place | -o PATH) [options]

  FILE is a file, a folder (its subtitle files), a pattern in quotes ('*.srt'), or - for standard input.

  --offset TIME      by how much, as 1.5 or -2.5 (seconds) or -00:01:02.500; no cue goes below zero
  --at TIME          only the cues that begin at TIME or later
  --in-place         write over the files that are read
  -o, --output PATH  another file; for more than one, or with a / at its end, a folder; - for standard output
  --force            overwrite files that exist

  --from, --to, --encoding, --output-encoding, --fps, --recursive, --json, --quiet: as for convert. The format stays
  unless --to names another, and so does the encoding with --in-place. Some formats can be read only, see 'formats'.

exit codes: as for convert
)";

constexpr std::string_view info =
    R"(quorel-subtitles info: tells what is in files

usage: quorel-subtitles info FILE... [options]

  FILE is a file, a folder (its subtitle files), a pattern in quotes ('*.srt'), or - for standard input.

  --from FORMAT    the format, where the file's extension does not say it (needed for standard input)
  --encoding NAME  the encoding, as windows-1252 (default: detected)
  --fps N          frames per second of sub files (default: 24)
  --recursive      go into the folders of folders
  --json           one JSON object per line and file: file, format, encoding, cues, start, end, speakers

exit codes
  0  all files could be read
  1  some file could not; standard error says which and why
  2  the command line makes no sense
)";

constexpr std::string_view check =
    R"(quorel-subtitles check: tells whether files can be read, and where not

usage: quorel-subtitles check FILE... [options]

  FILE is a file, a folder (its subtitle files), a pattern in quotes ('*.srt'), or - for standard input.

  --from FORMAT    the format, where the file's extension does not say it (needed for standard input)
  --encoding NAME  the encoding, as windows-1252 (default: detected)
  --fps N          frames per second of sub files (default: 24)
  --recursive      go into the folders of folders
  --strict         warnings count as errors
  --json           one JSON object per line and file: file, ok, error with line, message and found, warnings
  --quiet          nothing about files that are in order

An error is what keeps the file from being read, with the line it is on:
  film.srt:12: error: expected one timing line behind the number of a cue, as 00:01:02,500 --> 00:01:04,000
     12 | 00:00:07.000 --> 00:00:09.000
A warning is what can be read but was hardly meant: no cue at all, cues without text, without duration, or that begin
before the one before them has ended.

exit codes
  0  all files can be read
  1  some file cannot, or, with --strict, has warnings
  2  the command line makes no sense
)";

constexpr std::string_view formats =
    R"(quorel-subtitles formats: lists the formats

usage: quorel-subtitles formats [--json]

  --json  one JSON object per line and format

exit codes
  0  always, unless the command line makes no sense (2)
)";

}  // namespace

std::string_view helpText() {
    return general;
}

std::string_view helpText(Command command) {
    switch (command) {
        case Command::convert:
            return convert;
        case Command::shift:
            return shift;
        case Command::info:
            return info;
        case Command::check:
            return check;
        case Command::formats:
            return formats;
    }
    return general;
}

}  // namespace quorel::subtitles_tool
