#include "cli/AtomsCommand.h"

#include "cli/FileReports.h"
#include "report/Printable.h"
#include "report/TextTable.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace reelwright::cli {
namespace {

    std::string notesOf(const AtomNode& node)
    {
        std::vector<std::string> notes;
        if (!node.note.empty())
            notes.push_back(printable(node.note));
        if (node.sizeForm == SizeForm::Extended)
            notes.emplace_back("64-bit size");
        if (node.sizeForm == SizeForm::ToEnd)
            notes.emplace_back("no size");
        if (node.isCutShort())
            notes.push_back(fmt::format("cut short: claims {} bytes", node.claimedSize));
        if (node.trailingBytes != 0)
            notes.push_back(fmt::format("{} bytes at the end are no atom", node.trailingBytes));
        return fmt::format("{}", fmt::join(notes, "; "));
    }

    void addRows(const std::vector<AtomNode>& nodes, std::size_t level, TextTable& table)
    {
        for (const auto& node : nodes) {
            table.addRow({std::to_string(node.offset), std::to_string(node.size),
                std::string(2 * level, ' ') + printable(node.type.text()), notesOf(node)});
            addRows(node.children, level + 1, table);
        }
    }

    const char* sizeFormName(SizeForm form)
    {
        switch (form) {
        case SizeForm::Compact:
            break;
        case SizeForm::Extended:
            return "64-bit";
        case SizeForm::ToEnd:
            return "to-end";
        }
        return "32-bit";
    }

    Json nodeJson(const AtomNode& node)
    {
        Json json {{"type", node.type.text()}, {"offset", node.offset}, {"size", node.size},
            {"sizeForm", sizeFormName(node.sizeForm)}};
        if (!node.note.empty())
            json["note"] = node.note;
        if (node.isCutShort())
            json["claimedSize"] = node.claimedSize;
        if (node.trailingBytes != 0)
            json["trailingBytes"] = node.trailingBytes;
        if (!node.children.empty()) {
            auto children = Json::array();
            for (const auto& child : node.children)
                children.push_back(nodeJson(child));
            json["children"] = std::move(children);
        }
        return json;
    }

} // namespace

std::string atomsText(const std::string& file, const AtomTree& tree)
{
    using Align = TextTable::Align;
    TextTable table {{Align::Right, Align::Right}};
    table.addRow({"Offset", "Size", "Atom"});
    addRows(tree.atoms, 0, table);
    auto text = fmt::format("{}: {} bytes\n", printable(file), tree.fileSize) + table.text(2);
    for (const auto& [type, count] : tree.omitted)
        text += fmt::format("  and {} more {} (--all shows them)\n", count, printable(type));
    if (!tree.ending.empty())
        text += "  At the end: " + printable(tree.ending) + '\n';
    return text;
}

Json atomsJson(const std::string& file, const AtomTree& tree)
{
    auto atoms = Json::array();
    for (const auto& node : tree.atoms)
        atoms.push_back(nodeJson(node));
    Json json {{"file", file}, {"size", tree.fileSize}, {"atoms", std::move(atoms)}};
    if (!tree.omitted.empty())
        json["omitted"] = tree.omitted;
    json["ending"] = tree.ending.empty() ? Json {} : Json(tree.ending);
    json["problems"] = tree.problems;
    return json;
}

void AtomsCommand::addOptions(CLI::App& app)
{
    app.add_option("--depth", m_limits.depth, "Show N levels; 1 is the outermost only")
        ->option_text("N")
        ->check(CLI::Range(1, 1000));
    app.add_flag_callback(
        "--all", [this] { m_limits.alike = SIZE_MAX; }, "Show all atoms of the outermost level");
}

int AtomsCommand::run(const Invocation& invocation)
{
    return reportEach(invocation, [&](const std::string& file) -> Result<FileReport> {
        RW_TRY(const auto tree, AtomTree::read(file, m_limits));
        FileReport report;
        if (invocation.format == OutputFormat::Text)
            report.text = atomsText(file, tree);
        else
            report.json = atomsJson(file, tree);
        report.problems = tree.problems;
        return report;
    });
}

} // namespace reelwright::cli
