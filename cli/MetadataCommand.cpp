#include "cli/MetadataCommand.h"

#include "attributes/MetadataTable.h"
#include "cli/FileReports.h"
#include "cli/PerFile.h"
#include "report/MetadataFacts.h"
#include "report/MovieFacts.h"
#include "report/Printable.h"
#include "report/TextTable.h"
#include "support/FileHelper.h"
#include "tracks/TrackSelector.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    constexpr std::size_t kMaxShown = 200; ///< bytes of a value in the table for people

    std::string shortened(std::string text)
    {
        if (text.size() <= kMaxShown)
            return text;
        auto end = kMaxShown;
        while (end > 0 && (static_cast<unsigned char>(text[end]) & 0xC0U) == 0x80U)
            --end;
        return fmt::format("{}... ({} bytes)", text.substr(0, end), text.size());
    }

    std::string listText(const std::vector<MetadataFact>& facts, std::size_t indent)
    {
        if (facts.empty())
            return std::string(indent, ' ') + "no metadata\n";
        TextTable table;
        table.addRow({"Storage", "Key", "Description", "Value"});
        for (const auto& fact : facts)
            table.addRow({storageName(fact.item.storage), printable(fact.key),
                fact.description == fact.key ? "-" : printable(fact.description),
                printable(shortened(metadataText(fact)))});
        return table.text(indent);
    }

    /// The movie's metadata and those of its tracks that have some.
    FileReport reportOn(const std::string& file, const MovieFacts& facts)
    {
        FileReport report;
        report.text = printable(file) + '\n' + listText(facts.metadata, 2);
        auto tracks = Json::array();
        for (const auto& track : facts.tracks) {
            tracks.push_back(
                {{"id", track.id}, {"place", track.placeName.empty() ? Json {} : Json(track.placeName)},
                    {"metadata", metadataJson(track.metadata)}});
            if (!track.metadata.empty())
                report.text += fmt::format("  Track {} ({} {})\n", track.id, track.typeName, track.placeName)
                    + listText(track.metadata, 4);
        }
        report.json
            = {{"file", file}, {"metadata", metadataJson(facts.metadata)}, {"tracks", std::move(tracks)}};
        return report;
    }

    /// The rows of the movie's list, or of one track's.
    Result<std::string> exported(const QTMovie& movie, MetadataList::Format format, const std::string& track)
    {
        if (track.empty())
            return MetadataList::text(KWMetadataController::movieRows(movie), format, &movie);
        const auto selector = TrackSelector::parse(track);
        RW_TRY(const auto selected, selector->select(movie));
        std::string text;
        for (const auto& each : selected)
            text += MetadataList::text(KWMetadataController::allItems(QTMetaData::ofTrack(each)), format);
        return text;
    }

} // namespace

void MetadataCommand::addOptions(CLI::App& app)
{
    app.add_option("--format", m_formatName, "A list instead: csv, text, csv-quoted (RFC 4180) or json")
        ->type_name("NAME");
    app.add_option("--track", m_track, "The list of this track instead of the movie's")
        ->type_name("SELECTOR");
    app.add_flag("--table", m_isTable,
        "One CSV table of all files, a row each, for a spreadsheet;\n\"edit --metadata-table\" takes it "
        "back");
    app.add_option("-o,--output", m_output, "Write the list or the table to OUT")->type_name("OUT");
    app.add_flag("--overwrite", m_overwrite, "OUT may replace a file");
}

void MetadataCommand::check()
{
    m_track = asTyped(m_track);
    m_output = asTyped(m_output);
    if (!m_formatName.empty()) {
        m_format = MetadataList::formatNamed(m_formatName);
        if (!m_format)
            throwUsageError(
                fmt::format("--format takes csv, text, csv-quoted or json, not \"{}\"", m_formatName));
    }
    if (m_isTable && m_format.value_or(MetadataList::Format::Csv) != MetadataList::Format::Csv)
        throwUsageError("--table is a csv: --format is csv or left out");
    if (m_isTable && !m_track.empty())
        throwUsageError("--table has the metadata of movies: --track does not go with it");
    if (!m_track.empty() && !m_format)
        throwUsageError("--track goes with --format");
    if (!m_track.empty() && !TrackSelector::parse(m_track))
        throwUsageError(
            fmt::format("--track takes a track ID such as 3, or a place such as v1, not \"{}\"", m_track));
    if (!m_output.empty() && !m_isTable && !m_format)
        throwUsageError("-o goes with --format or --table");
}

int MetadataCommand::run(const Invocation& invocation)
{
    auto& console = invocation.console;
    if (m_isTable)
        return printTable(invocation);
    if (!m_format)
        return reportEach(invocation, [](const std::string& file) -> Result<FileReport> {
            RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
            return reportOn(file, MovieFacts::of(movie));
        });
    if (invocation.files.size() != 1) {
        console.message({}, "--format lists one file; give exactly one, or use --table");
        return exitStatus::kWrongUsage;
    }
    std::string text;
    const auto& file = invocation.files.front();
    const auto done = guarded([&]() -> Result<void> {
        RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
        RW_TRY(text, exported(movie, *m_format, m_track));
        return {};
    });
    if (!done) {
        console.message(file, reasonFor(done.error(), file));
        return exitStatus::kFailed;
    }
    return finish(invocation, text);
}

int MetadataCommand::printTable(const Invocation& invocation)
{
    std::vector<MetadataTable::FileRows> rows;
    int status = exitStatus::kDone;
    for (const auto& file : invocation.files) {
        const auto done = guarded([&]() -> Result<void> {
            RW_TRY(const auto movie, QTMovie::open(file, Storage::posix(), HeaderReading::Outline));
            rows.push_back(MetadataTable::rowsOf(file, movie));
            return {};
        });
        if (!done) {
            invocation.console.message(file, reasonFor(done.error(), file));
            status = exitStatus::kFailed;
        }
    }
    const int written = finish(invocation, MetadataTable::text(rows));
    return status == exitStatus::kDone ? written : status;
}

int MetadataCommand::finish(const Invocation& invocation, const std::string& text) const
{
    if (m_output.empty()) {
        invocation.console.write(text);
        return exitStatus::kDone;
    }
    if (!m_overwrite && FileHelper::fileExistsAtPath(m_output)) {
        invocation.console.message(m_output, "exists already; give another name, or --overwrite");
        return exitStatus::kFailed;
    }
    if (const auto error = FileHelper::writeAtomically(m_output, text)) {
        invocation.console.message(m_output, "cannot be written: " + error.message());
        return exitStatus::kFailed;
    }
    return exitStatus::kDone;
}

} // namespace reelwright::cli
