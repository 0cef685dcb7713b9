#!/usr/bin/env python3
"""Plants realistic faults in the product, one at a time, and counts the tests
that fail for each: a measure of what the test suite catches, to be run
before and after tests are trimmed or moved.

    scripts/plant-faults.py [--build DIR] [--matrix FILE] [NAME ...]

Each fault replaces one exact piece of text that occurs once in its file.
The file is restored after the run of that fault, also when the run is
interrupted. Builds go to DIR (default build-faults, Release). For each
fault the CTest suite runs in three tiers, each only when the ones before
caught nothing: the quick tests (all but the SLOW ones below, about half a
minute), the slow ones but the property test, and the property test. Prints
one line per fault: its name and the number of failing tests of the tier
that caught it, "slow only", "property only", or "MISSED" (also when the
property test ran out of time); then a summary. The exit status is 1 when a fault went unnoticed or could not be
planted. --matrix FILE also writes, for each fault, the names of the tests
that failed (a line "fault<TAB>test" each): the tests that alone catch a
fault are the ones no trimming may take away.
"""

import argparse
import pathlib
import re
import signal
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parent.parent

# name, file, text, replacement
FAULTS = [
    ("time filter: from-time bound exclusive", "export/item_processor.cc",
     "if (timestamp < filter.from_time)", "if (timestamp <= filter.from_time)"),
    ("item count limit off by one", "export/item_processor.cc",
     "const bool write = limit < 0 || count_ < limit;", "const bool write = limit < 0 || count_ <= limit;"),
    ("total count cap 100,000", "export/item_processor.h",
     "kMaxTotalCount = 99'999;", "kMaxTotalCount = 100'000;"),
    ("decoder: array elements in file byte order", "archive/record_decoder.cc",
     "const T v = LoadBigEndian<T>(src + sizeof(T) * i);",
     "T v;\n    std::memcpy(&v, src + sizeof(T) * i, sizeof v);"),
    ("decoder: longest string record refused", "archive/record_decoder.cc",
     "if (full_length <= int32_t{kMaxRecordBytes})", "if (full_length < int32_t{kMaxRecordBytes})"),
    ("JSON: backslash not escaped", "export/json_writer.cc",
     "if (c < 0x20 || c == '\"' || c == '\\\\') return false;", "if (c < 0x20 || c == '\"') return false;"),
    ("CSV: semicolon delimiter written as comma", "export/csv_writer.cc",
     "return ';';", "return ',';"),
    ("discovery: archive name matched as a prefix", "archive/discovery.cc",
     "name != filter.archive_name", "name.rfind(filter.archive_name, 0) != 0"),
    ("discovery: year ends at the start of 31 December", "archive/discovery.cc",
     "name + \"-12-31 23:59:59.999999999\"", "name + \"-12-31 00:00:00.000000000\""),
    ("discovery: month until-bound exclusive", "archive/discovery.cc",
     "start <= filter.until_time", "start < filter.until_time"),
    ("discovery: same-day files in reverse order", "archive/discovery.cc",
     "a.path < b.path", "a.path > b.path"),
    ("standard output checked by stream state only", "app/run.cc",
     "if (!std::cout || std::fflush(stdout) != 0 || std::ferror(stdout))", "if (!std::cout)"),
    ("unreadable data ends with status 0", "app/run.cc",
     "return unreadable || !warning.empty() ? kUnreadableStatus : 0;",
     "return !warning.empty() ? kUnreadableStatus : 0;"),
    ("unopenable day file not reported", "archive/read_state.cc",
     "    reporter->ReadFailed(path, error);\n", "    (void)error;\n"),
    ("UTC time: wrong pair of fraction digits", "export/time_text.cc",
     "p = Put2(p, rest / 10'000 % 100);", "p = Put2(p, rest / 1'000 % 100);"),
    ("JSON Lines: NaN written as a number", "export/json_lines_writer.cc",
     "out = std::isfinite(v) ? out + FormatReal(v, out) : CopyText(out, \"null\");",
     "out = out + FormatReal(v, out);"),
    ("JSON Lines: bytes above 0x7F copied unchecked", "export/json_lines_writer.cc",
     "CopyUtf8Sequence(&p, end, &out);", "*out++ = static_cast<char>(c);\n        ++p;"),
    ("long CSV: quote not doubled", "export/long_csv_writer.cc",
     "if (c == '\"') *out++ = '\"';", "(void)c;"),
    ("long CSV: flags inverted", "export/long_csv_writer.cc",
     "*out++ = row.flag ? '1' : '0';", "*out++ = row.flag ? '0' : '1';"),
    ("UTF-8: overlong E0 80 accepted", "export/utf8_text.cc",
     "if (lead == 0xE0) low = 0xA0;", "if (lead == 0xE0) low = 0x80;"),
    ("ID ranges: last bound exclusive", "export/range_set.cc",
     "std::min<int64_t>(range.last, covered_ - 1)", "std::min<int64_t>(range.last - 1, covered_ - 1)"),
    ("threads: worker not past an item", "export/parallel_output.cc",
     "  writer->writeItem(ExportItem{});\n", "  if (false) writer->writeItem(ExportItem{});\n"),
    ("threads: a batch's messages shown after its items", "export/parallel_output.cc",
     "batch.messages[next_message].first == i;", "i == n;"),
    ("output file renamed after a failed export", "output/output_file.cc",
     "  if (!ok) {\n    RemoveHidden();\n    return false;\n  }\n  if (observer_",
     "  if (observer_"),
    ("progress line not cleared before a message", "base/messages.h",
     "  if (g_status_line_shown) {", "  if (false && g_status_line_shown) {"),
    ("ISO time bound: 'T' refused", "base/timestamp_parser.cc",
     "text[10] == ' ' || (wide && text[10] == 'T')", "text[10] == ' '"),
    ("decoder: text read from the length field", "archive/record_decoder.cc",
     "data + kStringTextOffset", "data + kStringLengthOffset"),
    ("range list: single-ID range refused", "app/range_list.cc",
     "range.last < range.first", "range.last <= range.first"),
    ("options: default input path misspelt", "app/options.h",
     'input_path = "/qor/arc"', 'input_path = "/qor/arch"'),
    ("flags: most significant bit first", "archive/value_elements.h",
     ">> (i % 8)) & 1", ">> (7 - i % 8)) & 1"),
    ("registry: 129th module accepted", "runtime/registry.cc",
     "if (modules.size() >= kMaxModules) return kRegistryFull;",
     "if (modules.size() > kMaxModules) return kRegistryFull;"),
    ("warnings: remote codes not recognised", "base/result_codes.h",
     "  int local = static_cast<int16_t>(code | 0x4000);\n  return code < 0",
     "  int local = code;\n  return code < 0"),
    ("time stamps: second 60 accepted", "base/timestamp_parser.cc",
     "seconds > 59) return false;", "seconds > 60) return false;"),
    ("log time: milliseconds truncated, not rounded", "runtime/dprint.cc",
     "static_cast<double>(fraction) / kNanosPerSecond;",
     "static_cast<double>(fraction / 1'000'000) / 1'000;"),
    ("log file truncated at each start", "runtime/dprint.cc",
     'std::fopen(path, "at");', 'std::fopen(path, "wt");'),
    ("UTC date: years 100 to 999 without a leading zero", "export/time_text.cc",
     "if (year >= 1000 && year <= 9999)", "if (year >= 100 && year <= 9999)"),
    ("time text: exact tie of the sixth place rounded up", "export/time_text.cc",
     "if (above || (tie && (micros & 1) != 0)) ++micros;", "if (above || tie) ++micros;"),
    ("ID ranges: last word of a range filled whole", "export/range_set.cc",
     "for (size_t w = first_word + 1; w < last_word; ++w)",
     "for (size_t w = first_word + 1; w <= last_word; ++w)"),
    ("long CSV: carriage return not quoted", "export/long_csv_writer.cc",
     "c == '\\n' || c == '\\r'", "c == '\\n'"),
    ("JSON Lines: 0x1F not escaped", "export/json_lines_writer.cc",
     "for (int c = 0; c < 0x20; ++c) table[c] = 2;", "for (int c = 0; c < 0x1F; ++c) table[c] = 2;"),
    ("reals: at most 17 decimal places", "export/real_text.cc",
     "constexpr int kMaxDecimalPlaces = 324;", "constexpr int kMaxDecimalPlaces = 17;"),
    # The value-code table and the element visitor.
    ("exact reading: DWord signed", "archive/archive_format.h",
     "ElementType::kI32,  ElementType::kU32,  KindGroup::kEvent",
     "ElementType::kI32,  ElementType::kI32,  KindGroup::kEvent"),
    ("exact reading: Large converted to a real", "archive/value_elements.h",
     "const bool as_real = reading == ValueReading::kShown && traits.category",
     "const bool as_real = traits.category"),
    ("code 27 read in host order", "archive/archive_format.h",
     "KindGroup::kOther, true,  \"GrError\"", "KindGroup::kOther, false, \"GrError\""),
    ("long rows: items without elements dropped", "export/long_rows.h",
     "if (!visitor.any) row(LongRow{});", "(void)visitor.any;"),
    # Parquet.
    ("Parquet: ts without the epoch offset", "export/parquet_writer.cc",
     "item.timestamp + kBaseSinceUnixEpoch;", "item.timestamp;"),
    ("Parquet: index 0 written as null", "export/parquet_writer.cc",
     "if (row.index < 0) Null(&c[kIndex]);", "if (row.index <= 0) Null(&c[kIndex]);"),
    ("Parquet: a time stamp 0 written as a time", "export/parquet_writer.cc",
     "item_has_ts_ = item.timestamp != 0;", "item_has_ts_ = true;"),
    ("Parquet: text not cut at NUL", "export/parquet_writer.cc",
     "CutAtNul(row.text)", "row.text"),
    ("Parquet: dictionary index off by one", "export/parquet_writer.cc",
     "indices_[k].emplace(dictionary[i], static_cast<int64_t>(i));",
     "indices_[k].emplace(dictionary[i], static_cast<int64_t>(i + 1));"),
    ("Parquet: bit-packed bytes most significant bit first", "parquet/parquet_encoding.cc",
     "      *p++ = static_cast<char>(buffer);",
     "      *p++ = static_cast<char>(((buffer & 0xFF) * 0x0202020202ULL & 0x010884422010ULL) % 1023);"),
    ("Thrift: zigzag without the sign", "parquet/parquet_thrift.h",
     "(static_cast<uint64_t>(value) << 1) ^ static_cast<uint64_t>(value >> 63)",
     "static_cast<uint64_t>(value) << 1"),
    ("Parquet statistics: NaN in min and max", "parquet/parquet_statistics.cc",
     "      ++nans;\n    } else if (!has_bounds) {", "      ++nans;\n    }\n    if (!has_bounds) {"),
    # Threads and compressed output.
    ("compressed output: a member cut at each flush", "output/compressing_streambuf.cc",
     "if (pptr() == epptr() && pptr() != nullptr && !WritePending())",
     "if (pptr() != nullptr && !WritePending())"),
    ("threads: a refused thread fails the export", "base/ordered_work.cc",
     "&OrderedWork::Entry, &worker) != 0) break;", "&OrderedWork::Entry, &worker) != 0) __builtin_trap();"),
    ("threads: batch message shown after its item", "export/parallel_output.cc",
     "batch.messages[next_message].first == i;", "batch.messages[next_message].first + 1 == i;"),
    ("threads: byte bound of batches ignored", "export/parallel_output.cc",
     "if (batch.items.size() >= settings_.batch_items || batch.text_bound >= settings_.batch_bytes)",
     "if (batch.items.size() >= settings_.batch_items)"),
    # The program.
    ("--strict: trailing junk in -ic accepted", "app/options.cc",
     "if (strict ? !ParseWholeInt(value, &options->item_count_limit)",
     "if (strict ? !ParseLeadingInt(value, &options->item_count_limit)"),
    ("closed standard error not reopened", "output/standard_streams.cc",
     "for (int fd = 0; fd <= 2; ++fd)", "for (int fd = 0; fd <= 1; ++fd)"),
    # The --state cursor and its commit.
    ("--state: the new cursor not recorded before the output's rename", "output/output_file.cc",
     "if (observer_ != nullptr && !observer_->Named(hidden_)) {", "if (false) {"),
    ("--state: signals not held back during the commit", "app/deferred_signals.cc",
     "pthread_sigmask(SIG_BLOCK, &held_, &previous_);",
     "pthread_sigmask(SIG_BLOCK, nullptr, &previous_);"),
    ("--state: a copy of a known day exported again", "app/state_cursor.cc",
     "entry.offset > base.offset &&", "false &&"),
    ("--state: a file gone is forgotten at once", "app/state_cursor.cc",
     "if (now - entry.missing_since > kForgetMissingDays * 86'400) continue;", "continue;"),
    ("--state: nothing new replaces the output", "app/run.cc",
     "  if (nothing_new != nullptr && *nothing_new) return 0;\n", "  (void)nothing_new;\n"),
    ("--state: a busy state file not waited for", "app/state_lock.cc",
     "if (std::chrono::steady_clock::now() >= deadline) return Result::kBusy;",
     "if (deadline.time_since_epoch().count() != 0) return Result::kBusy;"),
    ("--state: a cut tail held in no file", "app/state_cursor.cc",
     "start.hold_tail = !status.present ||", "start.hold_tail = false &&"),
    ("-o fallback writes the target directly", "output/output_file.cc",
     "    if (exists && S_ISREG(st.st_mode) && OpenCopy(resolved)) return true;\n", ""),
    ("-o: a read-only file of the user's own replaced", "output/output_file.cc",
     "    if (exists && S_ISREG(st.st_mode) && faccessat(AT_FDCWD, resolved.c_str(), W_OK, AT_EACCESS) != 0)\n"
     "      return false;\n", ""),
    ("-o fallback: the copy keeps a longer file's tail", "output/output_file.cc",
     "  if (ftruncate(to, 0) != 0) return false;\n", ""),
    ("until-time: an item past it ends the export", "archive/read_state.cc",
     "if (!sink->Item(item_)) return FileEnd::kNext;", "if (!sink->Item(item_)) return FileEnd::kStopAll;"),
    ("--state: files not read yet left out of the cursor", "app/state_cursor.cc",
     "known_[i] = status.present || found != by_path.end();", "known_[i] = found != by_path.end();"),
    ("--state: a new state file written before anything is found", "app/state_cursor.cc",
     "    filter->from_time = saved_.from_time;\n    return true;\n",
     "    filter->from_time = saved_.from_time;\n    return Write(saved_, err);\n"),
    ("line protocol: comma in a tag value not escaped", "export/line_protocol_writer.cc",
     "if (c == ',' || c == '=' || c == ' ') *out++ = '\\\\';", "if (c == '=' || c == ' ') *out++ = '\\\\';"),
    ("line protocol: quote in a text not escaped", "export/line_protocol_writer.cc",
     "if (c == '\"' || c == '\\\\') *out++ = '\\\\';", "if (c == '\\\\') *out++ = '\\\\';"),
    ("discovery: a folder that cannot be listed reported as an odd entry", "archive/discovery.cc",
     "if (ec) reporter->Unlistable(dir.string(), ec.value());",
     "if (ec) reporter->Unexpected(dir.string());"),
    ("Parquet: deltas not taken relative to their block's minimum", "parquet/parquet_encoding.cc",
     "    for (uint64_t& d : deltas) d -= static_cast<uint64_t>(min_delta);\n",
     "    for (uint64_t& d : deltas) (void)d;\n"),

    ("dataset: recorded renames not rolled forward", "app/dataset_commit.cc",
     "    if (!PutInPlace(root, state.renames, err)) return false;\n", ""),
    ("dataset: a day file rewritten over changed archive bytes", "app/dataset_run.cc",
     "rewrite = it != group.end() && starts[*it].offset == begin.end;",
     "rewrite = it != group.end();"),
    ("dataset: '=' in an archive name not escaped", "app/dataset_layout.cc",
     "kSpecial = \"\\\"#%'*/:=?", "kSpecial = \"\\\"#%'*/:?"),
    ("dataset: a killed run's hidden files left behind", "app/dataset_commit.cc",
     "if (IsPartName(file.path().filename().string())) unlink(file.path().c_str());",
     "(void)file;"),
]


def plant(path, text, replacement):
    source = path.read_text()
    if source.count(text) != 1:
        return None
    path.write_text(source.replace(text, replacement))
    return source


def run(cmd, log):
    return subprocess.run(cmd, cwd=ROOT, stdout=log, stderr=subprocess.STDOUT).returncode


PROPERTY = "PropertyTest"
# Tests of more than about five seconds: read-back through other programs,
# random archives, the package build.
SLOW = ("PropertyTest|ReadersSeeTheCells|^packaging|KilledRuns|"
        "CompressedOutputIsThePlainExport|EveryCellReadsBack|NothingFoundIsAnEmptyTable|"
        "LineFormatsReadersTest|readme_examples|Influx|Promtool")


def ctest(build, log, selection, failed_names=None):
    """Runs the selected tests; returns the number that failed and whether
    one of them ran out of time. Adds the failed tests' names to
    `failed_names` when given."""
    result = subprocess.run(["ctest", "--test-dir", str(build), "-j2", "--timeout", "300"] +
                            selection, cwd=ROOT, capture_output=True, text=True)
    log.write(result.stdout)
    if failed_names is not None:
        # "  12 - Suite.Name (Failed)", or for a test of a table
        # "  12 - Cases/Suite.Name/Case  # GetParam() = ... (Failed)".
        listing = result.stdout.partition("The following tests FAILED:")[2]
        failed_names.extend(re.findall(r"^\s*\d+ - (\S+)", listing, re.M))
    match = re.search(r"tests passed, (\d+) tests failed", result.stdout)
    return (int(match.group(1)) if match else -1), "(Timeout)" in result.stdout


def main():
    # A plain kill restores the planted file too.
    signal.signal(signal.SIGTERM, lambda *_: sys.exit(130))
    parser = argparse.ArgumentParser(description=__doc__.splitlines()[0])
    parser.add_argument("--build", default="build-faults")
    parser.add_argument("--matrix", help="write the failing tests of each fault to this file")
    parser.add_argument("names", nargs="*", help="faults to plant (substrings of their names)")
    args = parser.parse_args()
    faults = [f for f in FAULTS if not args.names or any(n in f[0] for n in args.names)]
    build = ROOT / args.build
    log_path = build.with_name(build.name + ".log")
    missed = []
    matrix = open(args.matrix, "w") if args.matrix else None
    with open(log_path, "w") as log:
        if run(["cmake", "-S", ".", "-B", str(build), "-DCMAKE_BUILD_TYPE=Release"], log) != 0:
            sys.exit("cmake failed; see " + str(log_path))
        for name, file, text, replacement in faults:
            path = ROOT / file
            original = plant(path, text, replacement)
            if original is None:
                print(f"{name}: NOT PLANTED (text not found once in {file})", flush=True)
                missed.append(name)
                continue
            try:
                log.write(f"\n=== {name}\n")
                log.flush()
                if run(["cmake", "--build", str(build), "-j2"], log) != 0:
                    print(f"{name}: does not build", flush=True)
                    missed.append(name)
                    continue
                names = [] if matrix else None
                failed, _ = ctest(build, log, ["-E", SLOW], names)
                if failed == 0:
                    slow_failed, _ = ctest(build, log, ["-R", SLOW, "-E", PROPERTY], names)
                    if slow_failed > 0:
                        failed = "slow only"
                if failed == 0:
                    # A property test that runs out of time (a busy machine)
                    # has not caught the fault.
                    property_failed, timed_out = ctest(build, log, ["-R", PROPERTY], names)
                    if timed_out:
                        failed = "MISSED (property test timed out)"
                        missed.append(name)
                    elif property_failed > 0:
                        failed = "property only"
                if failed == 0:
                    failed = "MISSED"
                    missed.append(name)
                print(f"{name}: {failed}", flush=True)
                if matrix:
                    matrix.writelines(f"{name}\t{test}\n" for test in names)
                    matrix.flush()
            finally:
                path.write_text(original)
        # Leave the build matching the tree.
        run(["cmake", "--build", str(build), "-j2"], log)
    print(f"{len(faults) - len(missed)} of {len(faults)} faults caught")
    sys.exit(1 if missed else 0)


if __name__ == "__main__":
    main()
