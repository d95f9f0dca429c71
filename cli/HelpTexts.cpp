#include "cli/HelpTexts.h"

namespace reelwright::cli::help {

const char* const kProgram
    = R"(Reads and edits QuickTime movie files (.mov .qt .mp4 .m4v) without touching their media: the header is changed
and saved back into the file. WAV, AIFF and DV files open too and can be saved as movies.)";

const char* const kProgramFooter = R"(
Each command explains itself: reelwright-cli edit --help

Examples:
  reelwright-cli info clip.mov
  reelwright-cli edit --autoplay on --rotate right clip.mov
  reelwright-cli edit --track a2:enabled=off --dry-run *.mov

Results go to standard output; messages, and on a terminal a progress bar, to standard error.

Exit status:
  0  done
  1  something failed; every failed file is named on standard error
  2  wrong usage; nothing was done
  130, 143 (128 + the signal's number)  stopped by Ctrl-C or a signal; every file is the old movie or the new one)";

const char* const kInfoFooter = R"(
Times are hours:minutes:seconds:frames at the frame rate of the first video track; in JSON they come with their
exact value too: value / scale is seconds.

JSON: one object for one file, an array of them for several; --json-lines always gives one object a line. A file that
cannot be opened gives {"file", "error"}.

Examples:
  reelwright-cli info clip.mov
  reelwright-cli info --json clip.mov | jq .frameRate
  find . -name '*.mov' -print0 | reelwright-cli info --json-lines --files-from - -0

Exit status: 0 done, 1 a file could not be opened (named on standard error), 2 wrong usage.)";

const char* const kTracksFooter = R"(
The kind column gives each track's place: v1 is the first video track, a2 the second audio track (v video, a audio,
tc timecode, tx text, sp sprite, cc captions). The ID and the place are what "edit --track" takes as a selector.

Examples:
  reelwright-cli tracks clip.mov
  reelwright-cli tracks --json clip.mov | jq '.tracks[] | select(.type == "Audio") | .id'

Exit status: 0 done, 1 a file could not be opened (named on standard error), 2 wrong usage.)";

const char* const kTimecodeFooter = R"(
Start is the timecode that is stored, at the beginning of the track's media; "First shown" tells the first one that the
track's edit list lets through where that differs. Last frame is the movie's last one. Frames are counted from 0, at the
average rate of the first video track or, without a picture, at the timecode's own.

JSON: file and tracks [{id, place, enabled, start, startFrame, reel, dropFrame, limit24h, negative, counter, flags,
frameRate, timeScale, frameDuration, numberOfFrames, first, last, and with --at or --frame at}]; first, last and at are
{time {value, scale}, timecode, frame}, with null where the track shows nothing. One object for one file, an array for
several; --json-lines one object a line.

Examples:
  reelwright-cli timecode clip.mov
  reelwright-cli timecode --at 00:01:00:00 clip.mov         a minute into the movie
  reelwright-cli timecode --frame 1799 --json clip.mov | jq -r '.tracks[0].at.timecode'
  reelwright-cli timecode --all *.mov                       every timecode of each file, and whether they agree

--all lists the timecode tracks with their breaks, the timecode and reel items of user data and metadata (©TIM and the
like), XMP, and the clocks: creation dates, the file's date, the .THM still beside it. JSON: {file, timecodes [{source,
kind, track, start, reel, inUse, difference, unit, disagrees, breaks, remarks}], agree, warnings}. Clocks never disagree.

Exit status: 0 done (also for a movie without timecode), 1 a file or one of its timecode tracks could not be read (named
on standard error) or, with --all, its timecodes disagree, 2 wrong usage.)";

const char* const kChaptersFooter = R"(
Starts are hours:minutes:seconds:frames from the movie's first frame. The lists of --format: fcp, avid, dvdsp, csv and
text are those of editing and authoring programs, UTF-16 in files (-o) and UTF-8 on standard output; edl, webvtt,
ffmetadata, json, cue and csv-quoted (names with commas and quotes) are UTF-8. "edit --import-chapters" reads them all.

JSON: file and chapters [{name, start {value, scale, timecode}}]; with --format file and text, or output.

Examples:
  reelwright-cli chapters film.mov
  reelwright-cli chapters --format webvtt -o film.vtt film.mov
  reelwright-cli chapters --format ffmetadata film.mov | ffmpeg -i film.mkv -i - -map_chapters 1 -c copy out.mkv

Exit status: 0 done, 1 a file or its chapters could not be read (named on standard error), 2 wrong usage.)";

const char* const kTextsFooter = R"(
Lists what text tracks show, numbered from 1 in each track; the gaps between texts are left out. The lists of --format,
srt (SubRip) and webvtt, are UTF-8 and hold the texts of one track; "edit --import-text" reads both.

JSON: file and tracks [{id, place, texts [{text, start, end {value, scale, timecode}, style}]}]; style is what
"edit --text-style" takes. With --format file and text, or output.

Examples:
  reelwright-cli texts film.mov
  reelwright-cli texts --track tx2 -o film.srt film.mov
  reelwright-cli texts --json film.mov | jq -r '.tracks[0].texts[].text'

Exit status: 0 done, 1 a file or its texts could not be read (named on standard error), 2 wrong usage.)";

const char* const kMarkersFooter = R"(
Reads .fcpxml projects: the markers on the clips of the first sequence's main storyline, with their timecodes in the
sequence. "edit --import-chapters PROJECT.fcpxml" makes chapters of them.

JSON: file and markers [{startTimecode, name}], with --seconds [{seconds, name}].

Examples:
  reelwright-cli markers cut.fcpxml
  reelwright-cli markers --seconds --all-levels --json cut.fcpxml

Exit status: 0 done, 1 a file could not be read or has no markers (named on standard error), 2 wrong usage.)";

const char* const kMetadataFooter = R"(
Storage: udta user data, mdta named keys (com.apple.quicktime.make), ilst the short keys of MP4 files. What is no text
is shown with its size.

Formats:
  csv         "Description","Value" in quotes, which are not doubled inside; text: the same parted by a tab. For reading.
  csv-quoted  Key,Value,Description after RFC 4180; json: [{key, value, description}]. What "edit --import-metadata"
              takes back unchanged, all characters and line ends included.

A spreadsheet for many files: "metadata --table -o TABLE.csv *.mov" has a row for each file and a column for each key.
Change cells, add columns (their heading is the key), and give it back: "edit --metadata-table TABLE.csv *.mov", with
--dry-run to see what it would do. A row is found by the file's path, else by its name. An empty cell changes
nothing, <remove> removes the key, and a text that begins with "<" has it twice ("<<b>" means "<b>").

JSON: file, metadata [{key, value, description, storage, type, language, size}], tracks [{id, place, metadata}]; value is
null for what is no text.

Examples:
  reelwright-cli metadata clip.mov
  reelwright-cli metadata --format json -o clip.json clip.mov
  reelwright-cli metadata --table -o reels.csv *.mov

Exit status: 0 done, 1 a file could not be opened or written (named on standard error), 2 wrong usage.)";

const char* const kAtomsFooter = R"(
Offsets and sizes are in bytes; sizes include the atom's own header. Works on damaged files: what is there is shown,
with notes where an atom is cut short or has no size. Of more than 20 atoms of one type on the outermost level
(fragmented files) the first 20 are shown unless --all is given. --find shows single atoms; with --fields each tells its
fields with their places in the file, with --hex its bytes (the first 512).

Examples:
  reelwright-cli atoms clip.mov
  reelwright-cli atoms --find trak/tkhd --fields clip.mov
  reelwright-cli atoms --find stsd/tmcd --fields --hex clip.mov
  reelwright-cli atoms --depth 1 fragmented.mp4
  reelwright-cli atoms --json clip.mov | jq '.atoms[] | {type, offset, size}'

Exit status: 0 done, 1 a file could not be read or is damaged (named on standard error), 2 wrong usage.)";

const char* const kEdit = R"(Change movies and save each once, into its own file
The edits are applied in the order given. Media are never encoded again, and stay where they are unless the whole file
has to be written anew.)";

const char* const kEditFooter = R"(
Selectors (for --track):
  3              the track with this ID
  v1 a2 tc1 ...  a kind and its place: v video, a audio, tc timecode, tx text, sp sprite, cc captions
  'a*'           all tracks of a kind      '*'  all tracks      ("reelwright-cli tracks" lists them)

Timecodes are hours:minutes:seconds:frames at the frame rate of the first video track, two digits a field. Digits alone
fill them from the right, and a period at the end stands for a pair of zeros: 12 is twelve frames, 10. ten seconds, 1..
one minute. Times of tracks may also be 10.5s, 250f, 00:00:10.500, 3003/3000 (seconds) or tc:01:00:00:00 (where the
timecode track shows that label); with + or - before it a time moves the present one.

The timecode track (one for all timecode options, at the place of the first of them):
  --timecode, --counter and --timecode-from give its start; a movie without the track gets it, but not an mp4 or m4v
  file. What no option names stays as it is, byte for byte: --reel alone changes the reel's name and nothing else, with
  a start reel and flags stay, but for drop frame, which a ";" in the timecode switches on and its absence off. Drop
  frame exists at 29.97, 59.94 and 119.88 frames a second. --reel "" takes the reel away. --timecode-offset moves every
  timecode of the track and keeps its breaks. --timecode-track tc2 begins the options of another track.
  Sources:
    creation, file    the movie's own creation time, that of the file: the local time of day
    now               the time of day, one for all files
    udta              the timecode in the movie's metadata (©TIM)
    thm:PATH          the time of recording of a still (EXIF DateTimeOriginal)
    thm-folder:DIR    that of the still NAME.THM in this folder
    movies:DIR        start, flags and reel of the movie of the same name in this folder
  A start from udta or movies: must be a timecode that exists at this movie's rate; the label is taken, also from a movie
  of another rate, and refused where there is none.

The frame rate (after all edits, in the same save):
  --conform divides time scales by the ratio of the two rates and rounds them, as editors are used to; rates next to 24,
  30 and 60 are taken for 23.976, 29.97 and 59.94, and from 59.94 every other way is by 29.97 with frames twice as long.
  --conform-exact chooses time scales in which a frame is a whole number of units, so that nothing of the picture is
  rounded, and changes the sound's sample rate to the nearest whole number; what this leaves of drift is stated, and
  refused above one frame at the end. Both rebuild the timecode track. AAC, AC-3, Opus and other sound whose data carry
  their own sample rate do not follow. --conform refuses headers with 64-bit times, and files whose atoms it cannot go
  over to the end; --conform-exact takes them.

Chapters (all options are one change, in the order given, at the place of the first of them):
  Numbers are those of the movie as it was opened ("reelwright-cli chapters" lists them). A time counts from the movie's
  first frame, or is value/scale in seconds; tc:01:00:10:00 is the frame with that timecode. An import whose parts
  conflict with a chapter or lie beyond the movie keeps the rest; what was refused is named, and the exit status is 1.

Texts (all options are one change, in the order given, at the place of the first of them):
  Numbers are those of the movie as it was opened ("reelwright-cli texts" lists them). Times are those of tracks;
  tx1@00:00:05:00/3s=Hello shows "Hello" for three seconds. A track shows one text at a time: where a text begins, the
  one before it ends, and a warning says so. A text that is new looks as the last one of its track, or white, centred and
  in the lower part of the track's box over the picture; --text-style changes that for the option before it.

Metadata:
  A KEY is named as "metadata" lists it: com.apple.quicktime.make, ©nam, or its description ("Camera: Make"); "Title"
  and "Copyright" are the movie's. A text is written into every item of its key, in the storage, the type and
  the language that it has; a new key is added as a named key (mdta), in UTF-8. Lists: csv (also in quotes, RFC 4180),
  text with tabs, json, in UTF-8 or UTF-16, or another movie.

Where the result goes:
  Without an output option each file itself is saved: its header is updated in place, and nothing else is written. A
  file for which that is impossible (fragmented, cut short, on a volume without a journal) is written anew as a whole
  and then replaced; a warning says why. That is refused where media are missing. With --suffix, --output-dir or -o the
  file stays and a copy is written. An output that is the file itself is refused, and so is one that exists, unless
  --overwrite is given.
  A file that the edits do not change is left alone (status "unchanged"); a copy of it is written all the same.
  At every instant a file on disk is the old movie or the new one, whole. Ctrl-C leaves files that are not done as they
  were.

JSON (one object for one file, an array for several; --json-lines one object a line, as files are done):
  file, status (updated, unchanged, failed), mode (in-place, flattened, none), output, bytesWritten,
  changes [{path, before, after}], warnings, error, with --verify media [{track, before, after}], and with --extract
  extracted [{output, bytesWritten}]

A run that can be begun again (--journal FILE):
  Before each save the checksum of the header that is going to be written is noted in FILE. The same command started
  again with the same FILE, after a crash, a kill or a power failure too, leaves the files alone whose header is noted,
  finishes what an interrupted save left to do, and does the others; so nothing is turned twice. A journal belongs to
  the edits that it was begun with; other edits are refused. Give each new job a new one, and delete it when all is done.

Options from a file (--options-from FILE):
  One option or more a line, in the order in which they are to be applied; each line begins with an option, and # begins
  a comment. Quotes are those of a shell: '...' as it stands, "..." with \" and \\ in it, \ before a single character.
  Paths are taken from the folder that the command is started in. A file of options cannot read another one.

Examples:
  reelwright-cli edit --autoplay on --controller hide clip.mov
  reelwright-cli edit --rotate right --flop clip.mov              turns, then mirrors
  reelwright-cli edit --track 'a*:enabled=off' --track a1:enabled=on clip.mov
  reelwright-cli edit --track a1:in=10. --track a1:duration=1.. clip.mov
  reelwright-cli edit --timecode '10:00:00;00' --reel A001 clip.mov
  reelwright-cli edit --timecode-from thm-folder:stills *.mov
  reelwright-cli edit --conform 24 --keep-header headers/ *.mov
  reelwright-cli edit --conform-exact 24000/1001 -n clip.mov
  reelwright-cli edit --title 'Day 3' --metadata com.apple.quicktime.artist=Ilse clip.mov
  reelwright-cli edit --track v1:metadata=com.apple.proapps.reel=A003 --remove-metadata ©swr clip.mov
  reelwright-cli edit --rotate left -n *.mov                      shows what would change
  reelwright-cli edit --rotate left --journal day3.journal --jobs 4 *.mov
  reelwright-cli edit --options-from camera-b.repair *.mov
  reelwright-cli edit --aperture clean --suffix -clean --verify --jobs 4 *.mov
  find . -name '*.mov' -print0 | reelwright-cli edit --autoplay off --files-from - -0

Exit status: 0 done, 1 a file failed (named on standard error), 2 wrong usage (nothing was done), 130 stopped by Ctrl-C,
143 by SIGTERM (128 + the signal's number).)";

const char* const kWatchFooter = R"(
Takes the edits of "edit" (see "reelwright-cli edit --help" for what they mean) and one folder. Each movie in it (mov, qt,
mp4, m4v; not in folders within it, no hidden ones) is edited once, when nobody has written to it for a few seconds; so are
those that come later, until Ctrl-C or SIGTERM. A file that failed is tried again when it changes. Results are printed as
files are done, with --json one object a line.

What was done is noted in a journal (see --journal of "edit"), so that a file is done once also when the program is started
again. Without --journal it is kept with the program's own files, one for each folder; another repair for the same folder
needs a journal of its own. A file that another program changes afterwards counts as a new one.

Examples:
  reelwright-cli watch --options-from camera-b.repair /media/ingest
  reelwright-cli watch --rotate left --output-dir /media/turned /media/ingest
  reelwright-cli watch --once --task remove-empty-tracks /media/ingest

Exit status: 0 ended, also by a signal; 1 a file failed (with --once), or the folder is gone; 2 wrong usage.)";

const char* const kCheckFooter = R"(
Rules are a JSON file; docs/RULES.md explains them. Each names a field of "info --json", a comparison and a value, and may
say how grave it is (error or warning), a message, and the edit that mends it. That edit is printed as a command, never
done. --list names the sets that come with the program; --rules takes such a name as well as a file.

JSON (one object a file): file, rules (the set's name), status (passed, failed), errors, warnings (how many), findings
[{rule (from 1), severity, field, value, message, edit [...]}], error

Examples:
  reelwright-cli check --rules broadcast-hd-25 *.mov
  reelwright-cli check --rules delivery.json --json-lines *.mov | jq -r 'select(.status == "failed") | .file'

Exit status: 0 all files pass (warnings do not matter), 1 a file fails or could not be read, 2 wrong usage, or rules that
cannot be read (with the place in them).)";

const char* const kVerifyFooter = R"(
Reads all media, those in other files included, and compares them with nothing: it tells media that are missing, cut
short or on a failing disk. ("edit --verify" compares media before and after a save.)

JSON: file, readable, tracks [{id, place, samples, bytes (that were read), unreadableSamples, unreadable [{first (sample,
from 1), count, source (the file), offset (bytes, of the first), reason}]}]; at most 1000 stretches a track are listed.

Examples:
  reelwright-cli verify clip.mov
  reelwright-cli verify --json-lines *.mov | jq -r 'select(.readable | not) | .file'

Exit status: 0 done, 1 a file could not be opened or one of its samples not be read (named on standard error), 2 wrong
usage.)";

const char* const kTasksFooter = R"(
A task is a repair of one step: "edit --task NAME" does it, in the order of the other edits; the number does as well
as the name. Some take a file or folder behind the name: "--task import-timecode-from-thm-file" reads the still beside
each movie, "--task import-timecode-from-thm-file=STILLS" the one of the movie's name in the folder STILLS.

JSON: an array of {number, name, title, group, description, path, batchOnly}; --json-lines one object a line.

Examples:
  reelwright-cli tasks
  reelwright-cli edit --task remove-audio-tracks-except-track-1 clip.mov
  reelwright-cli edit --task set-timecode-from-quicktime-movie=proxies --task 11 *.mov

Exit status: 0 done, 2 wrong usage.)";

const char* const kExportFooter = R"help(
What is exported is the movie as it plays: its enabled tracks, edit lists and turns, with the timecode, and the texts of
its metadata where the format has a place for them. Each enabled sound track becomes one; formats with one sound mix them.
Without -o or --output-dir the result lies beside the movie, under its name with the format's extension; image sequences
are numbered files in a folder. An export takes its name when it is complete; of one that fails nothing stays.

Examples:
  reelwright-cli export --list
  reelwright-cli export --format "ProRes 422 HQ" -o master.mov clip.mov
  reelwright-cli export --format "H.264 (MP4)" --settings '{"width": 1280, "height": 720, "quality": 23}' clip.mov
  reelwright-cli export --format "Same Media (MP4)" --range 00:00:10:00-00:00:20:00 clip.mov

JSON: file, outputs [paths], format, error.

Exit status: 0 done, 1 a file failed (named on standard error), 2 wrong usage.)help";

const char* const kFrameFooter = R"(
Pictures are written at the movie's natural size, turned and in square pixels as a player shows them; with 16 bits a
colour in PNG and TIFF files where the movie has more than eight. TIMECODE is counted from the movie's first frame;
tc:01:00:10:00 names the label of its timecode track.

Examples:
  reelwright-cli frame --at 00:00:10:00 -o still.png clip.mov
  reelwright-cli frame --every 10. -o stills.jpg clip.mov          stills-000001.jpg, ...
  reelwright-cli frame --sheet 5x4 -o sheet.png clip.mov

JSON: file, outputs [paths], error.

Exit status: 0 done, 1 a file failed (named on standard error), 2 wrong usage.)";

const char* const kGenerateFooter = R"(
All of it is made from the tool's own options, so that it is never behind them. The Debian package puts it where shells and
"man" look.

Examples:
  source <(reelwright-cli generate bash)
  reelwright-cli generate zsh > ~/.zfunc/_reelwright-cli
  reelwright-cli generate fish > ~/.config/fish/completions/reelwright-cli.fish
  reelwright-cli generate man | man -l -

JSON: what, text.

Exit status: 0 done, 2 wrong usage.)";

} // namespace reelwright::cli::help
