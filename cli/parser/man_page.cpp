#include "cli/parser/man_page.hpp"

#include <fmt/format.h>

#include <cctype>
#include <string_view>
#include <vector>

namespace quillon::cli {
namespace {

// Text as it stands: what roff would take for its own is escaped.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        switch (c) {
            case '\\':
                result += "\\e";
                break;
            case '-':
                result += "\\-";
                break;
            case '\'':
                result += "\\(aq";
                break;
            case '`':
                result += "\\(ga";
                break;
            case '^':
                result += "\\(ha";
                break;
            case '~':
                result += "\\(ti";
                break;
            default:
                result += c;
        }
    }
    return result;
}

// A line of text; a dot in front would make it a request.
std::string line(std::string_view text) {
    return (text.starts_with('.') ? "\\&" : "") + escaped(text) + "\n";
}

std::string bold(std::string_view text) {
    return "\\fB" + escaped(text) + "\\fR";
}

std::string italic(std::string_view text) {
    return "\\fI" + escaped(text) + "\\fR";
}

std::vector<std::string> split(std::string_view text, std::string_view separator) {
    std::vector<std::string> parts;
    while (!text.empty()) {
        const size_t end = text.find(separator);
        if (end != 0) parts.emplace_back(text.substr(0, end));
        text.remove_prefix(end == text.npos ? text.size() : end + separator.size());
    }
    return parts;
}

// "SECONDS:INT in [1 - 86400]" is for the parser: a person needs the name.
std::string placeholder(OptionDefinition option) {
    const std::string type = option.typeText();
    return type.substr(0, type.find(':'));
}

std::string operandOf(OptionDefinition operand) {
    std::string text = italic(operand.name());
    const bool says = operand.name().find("...") != std::string::npos;
    if (operand.mayBeRepeated() && !says) text += "...";
    return operand.isRequired() ? text : "[" + text + "]";
}

std::string tagOf(OptionDefinition option) {
    if (option.isOperand()) return italic(option.name());
    std::string tag;
    for (const std::string& name : option.shortNames()) tag += ", " + bold("-" + name);
    for (const std::string& name : option.longNames()) tag += ", " + bold("--" + name);
    tag.erase(0, 2);
    if (option.takesValue()) tag += " " + italic(placeholder(option));
    return tag;
}

std::string tagged(const std::vector<OptionDefinition>& options) {
    std::string text;
    for (const OptionDefinition option : options) {
        text += ".TP\n" + tagOf(option) + "\n" + line(option.meaning());
    }
    return text;
}

std::string synopsisOf(CommandDefinition command, const std::string& name) {
    std::string text = bold(name) + " [" + italic("OPTIONS") + "]";
    for (const OptionDefinition operand : command.operands()) text += " " + operandOf(operand);
    if (!command.commands().empty()) {
        text += " " + italic("COMMAND") + " [" + italic("ARGUMENTS") + "]";
    }
    return text + "\n";
}

// A paragraph that has indented lines keeps its lines.
std::string paragraph(const std::string& text) {
    const bool indented = text.starts_with(' ') || text.find("\n ") != text.npos;
    std::string result = indented ? ".PP\n.nf\n" : ".PP\n";
    for (const std::string& each : split(text, "\n")) result += line(each);
    return indented ? result + ".fi\n" : result;
}

// What stands below the title of a paragraph, each line as it is.
std::string section(const std::string& title, std::string_view text) {
    std::string result = ".SH " + title + "\n.nf\n";
    for (const std::string& each : split(text, "\n")) {
        result += line(std::string_view(each).substr(each.find_first_not_of(' ')));
    }
    return result + ".fi\n";
}

struct Footer {
    std::string description;
    std::string examples;
    std::string exitStatus;
};

Footer readFooter(const std::string& text) {
    constexpr std::string_view examplesTitle = "Examples:\n";
    constexpr std::string_view exitCodesTitle = "Exit codes:\n";
    Footer footer;
    for (const std::string& each : split(text, "\n\n")) {
        if (each.starts_with(examplesTitle)) {
            footer.examples = section("EXAMPLES", each.substr(examplesTitle.size()));
        } else if (each.starts_with(exitCodesTitle)) {
            footer.exitStatus = section("\"EXIT STATUS\"", each.substr(exitCodesTitle.size()));
        } else {
            footer.description += paragraph(each);
        }
    }
    return footer;
}

std::string commandsOf(CommandDefinition program) {
    std::string text = ".SH COMMANDS\n";
    for (const CommandDefinition command : program.commands()) {
        text += ".TP\n" + bold(program.name() + "-" + command.name()) + "(1)\n" +
                line(command.meaning());
    }
    return text;
}

std::string upperCase(std::string text) {
    for (char& c : text) c = static_cast<char>(std::toupper(static_cast<unsigned char>(c)));
    return text;
}

std::string header(const Parser& parser, std::string_view name, std::string_view meaning,
                   int section, const char* group) {
    return fmt::format(".TH {} {} \"\" \"{}\" \"{}\"\n", escaped(upperCase(std::string(name))),
                       section, escaped(parser.version()), group) +
           ".SH NAME\n" + escaped(name) + " \\- " + line(meaning);
}

// Those that the command's page tells of; of the program's page all.
std::string listOf(const std::string& title, std::span<const Named> all,
                   const std::string& command) {
    std::string text;
    for (const Named& each : all) {
        const bool isIts = each.commands.find(' ' + command + ' ') != each.commands.npos;
        if (command.empty() || isIts) {
            text += ".TP\n" + italic(each.name) + "\n" + line(each.meaning);
        }
    }
    return text.empty() ? text : ".SH " + title + "\n" + text;
}

std::string pageOf(const Parser& parser, CommandDefinition command,
                   const Surroundings& surroundings) {
    const CommandDefinition program = parser.program();
    const bool whole = command == program;
    const std::string own = whole ? "" : command.name();
    const std::string name = program.name() + (whole ? "" : "-" + own);
    const Footer footer = readFooter(command.footer());
    std::string page = header(parser, name, command.meaning(), 1, "User Commands");
    page += ".SH SYNOPSIS\n" + synopsisOf(command, program.name() + (whole ? "" : " " + own));
    if (!footer.description.empty()) page += ".SH DESCRIPTION\n" + footer.description;
    if (whole) page += commandsOf(program);
    page += ".SH OPTIONS\n" + tagged(command.operands()) + tagged(command.options());
    if (!whole) page += ".PP\nThe options of " + bold(program.name()) + "(1) may be given, too.\n";
    page += footer.examples + footer.exitStatus;
    page += listOf("FILES", surroundings.files, own);
    page += listOf("ENVIRONMENT", surroundings.variables, own);
    page += ".SH \"SEE ALSO\"\n";
    if (!whole) page += bold(program.name()) + "(1), ";
    return page + bold(program.name() + "-config") + "(5)\n";
}

}  // namespace

std::string manPage(const Parser& parser, const std::string& command,
                    const Surroundings& surroundings) {
    const CommandDefinition program = parser.program();
    if (command.empty()) return pageOf(parser, program, surroundings);
    const auto found = program.findCommand(command);
    return found ? pageOf(parser, *found, surroundings) : "";
}

std::string manPage(const Parser& parser, const FormatPage& format) {
    std::string page = header(parser, format.name, format.meaning, 5, "File Formats");
    page += ".SH SYNOPSIS\n" + italic(format.file) + "\n";
    page += ".SH DESCRIPTION\n" + readFooter(std::string(format.description)).description;
    page += ".SH KEYS\n";
    for (const FormatPage::Key& key : format.keys) {
        page += ".TP\n" + bold(key.name) + " = " + italic(key.type) + "\n" + line(key.meaning);
    }
    page += readFooter(std::string(format.examples)).examples;
    return page + ".SH \"SEE ALSO\"\n" + bold(parser.program().name()) + "(1)\n";
}

}  // namespace quillon::cli
