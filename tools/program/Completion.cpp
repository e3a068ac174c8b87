#include "program/Completion.h"

#include <sstream>

namespace rksignal {
namespace {

std::string words(const std::vector<std::string>& items) {
    std::string list;
    for (const std::string& item : items) {
        list += (list.empty() ? "" : " ") + item;
    }
    return list;
}

/// `text` in single quotes, with `\` before each of `special`. A quote is written as `quote`.
std::string quotedFor(const std::string& text, const std::string& special, const std::string& quote) {
    std::string quoted = "'";
    for (const char character : text) {
        if (special.find(character) != special.npos) {
            quoted += '\\';
        }
        quoted += character == '\'' ? quote : std::string(1, character);
    }
    return quoted + "'";
}

std::vector<std::string> optionNames(const CommandText& command) {
    std::vector<std::string> names;
    for (const OptionText& option : command.options) {
        if (!option.isPositional) {
            names.insert(names.end(), option.names.begin(), option.names.end());
        }
    }
    return names;
}

std::vector<std::string> commandNames(const ProgramText& text) {
    std::vector<std::string> names;
    for (const CommandText& command : text.commands) {
        names.push_back(command.name);
    }
    return names;
}

/// Cases of `COMMAND,OPTION` for options with choices.
void writeBashChoices(const CommandText& command, const std::string& name, std::ostream& out) {
    for (const OptionText& option : command.options) {
        if (!option.choices.empty()) {
            out << "    " << name << ',' << option.names.back() << ") COMPREPLY=($(compgen -W '"
                << words(option.choices) << "' -- \"$current\")); return ;;\n";
        }
    }
}

std::string zshQuoted(const std::string& text) {
    return quotedFor(text, "[]:\\", "'\\''");
}

/// An argument of _arguments.
std::string zshOption(const std::string& name, const OptionText& option) {
    std::string spec = zshQuoted((option.isRepeated ? "*" : "") + name);
    spec.pop_back();
    const std::string description = zshQuoted(option.description);
    spec += "[" + description.substr(1, description.size() - 2) + "]";
    if (!option.value.empty() || !option.choices.empty()) {
        const std::string value = zshQuoted(option.value);
        spec += ":" + value.substr(1, value.size() - 2) + ":" +
                (option.choices.empty() ? "_files" : "(" + words(option.choices) + ")");
    }
    return spec + "'";
}

void writeZshOptions(const CommandText& command, std::ostream& out) {
    for (const OptionText& option : command.options) {
        if (!option.isPositional) {
            for (const std::string& name : option.names) {
                out << " \\\n          " << zshOption(name, option);
            }
        }
    }
}

std::string fishQuoted(const std::string& text) {
    return quotedFor(text, "\\", "\\'");
}

void writeFishOptions(const CommandText& command, const std::string& condition, std::ostream& out) {
    for (const OptionText& option : command.options) {
        if (option.isPositional) {
            continue;
        }
        out << "complete -c rksignal -n " << fishQuoted(condition);
        for (const std::string& name : option.names) {
            const bool isLong = name.starts_with("--");
            out << (isLong ? " -l " : " -s ") << name.substr(isLong ? 2 : 1);
        }
        if (!option.choices.empty()) {
            out << " -x -a " << fishQuoted(words(option.choices));
        } else if (!option.value.empty()) {
            out << " -r";
        }
        out << " -d " << fishQuoted(option.description) << '\n';
    }
}

} // namespace

std::string bashCompletion(const ProgramText& text) {
    std::ostringstream out;
    out << "# Completion of rksignal for bash.\n"
           "_rksignal() {\n"
           "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]} command= word\n"
           "  COMPREPLY=()\n"
           "  for word in \"${COMP_WORDS[@]:1:COMP_CWORD-1}\"; do\n"
           "    case $word in -*) ;; *) command=$word; break ;; esac\n"
           "  done\n"
           "  case $command,$previous in\n";
    writeBashChoices(text.program, "", out);
    for (const CommandText& command : text.commands) {
        writeBashChoices(command, command.name, out);
    }
    out << "  esac\n"
           "  case $command,$current in\n"
        << "    ,*) COMPREPLY=($(compgen -W '" << words(commandNames(text)) << " "
        << words(optionNames(text.program)) << "' -- \"$current\")) ;;\n";
    for (const CommandText& command : text.commands) {
        out << "    " << command.name << ",-*) COMPREPLY=($(compgen -W '" << words(optionNames(command))
            << "' -- \"$current\")) ;;\n";
    }
    // without replies the shell completes names of files
    out << "  esac\n"
           "}\n"
           "complete -o default -F _rksignal rksignal\n";
    return out.str();
}

std::string zshCompletion(const ProgramText& text) {
    std::ostringstream out;
    out << "#compdef rksignal\n"
           "# Completion of rksignal for zsh.\n"
           "_rksignal() {\n"
           "  local context state state_descr line\n"
           "  typeset -A opt_args\n"
           "  local -a commands\n"
           "  commands=(\n";
    for (const CommandText& command : text.commands) {
        out << "    " << zshQuoted(command.name).substr(0, command.name.size() + 1) << ":"
            << zshQuoted(command.description).substr(1) << '\n';
    }
    out << "  )\n"
           "  _arguments -C";
    writeZshOptions(text.program, out);
    out << " \\\n          '1:command:->command' '*::argument:->argument'\n"
           "  case $state in\n"
           "    command) _describe -t commands command commands ;;\n"
           "    argument)\n"
           "      case $words[1] in\n";
    for (const CommandText& command : text.commands) {
        out << "        " << command.name << ") _arguments";
        writeZshOptions(command, out);
        out << " \\\n          '*:file:_files' ;;\n";
    }
    out << "      esac ;;\n"
           "  esac\n"
           "}\n"
           "_rksignal \"$@\"\n";
    return out.str();
}

std::string fishCompletion(const ProgramText& text) {
    std::ostringstream out;
    out << "# Completion of rksignal for fish.\n";
    writeFishOptions(text.program, "__fish_use_subcommand", out);
    for (const CommandText& command : text.commands) {
        out << "complete -c rksignal -n __fish_use_subcommand -f -a " << command.name << " -d "
            << fishQuoted(command.description) << '\n';
        writeFishOptions(command, "__fish_seen_subcommand_from " + command.name, out);
    }
    return out.str();
}

} // namespace rksignal
