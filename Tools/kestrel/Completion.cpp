#include "Completion.h"

#include <utility>
#include <vector>

namespace Tool {

namespace {

/// A command, the names of its options with their dashes, and descriptions.
struct Known {
    std::string name;
    std::string purpose;
    std::vector<std::pair<std::string, std::string>> options;
};

std::vector<Known> List(CLI::App const & app) {
    std::vector<Known> commands;
    for (CLI::App const * const command :
         app.get_subcommands([](CLI::App const *) { return true; })) {
        Known known{command->get_name(), command->get_description(), {}};
        for (CLI::Option const * const option : command->get_options()) {
            for (std::string const & name : option->get_lnames())
                known.options.emplace_back("--" + name, option->get_description());
            for (std::string const & name : option->get_snames())
                known.options.emplace_back("-" + name, option->get_description());
        }
        commands.push_back(std::move(known));
    }
    return commands;
}

// Quotes for a shell, in single quotation marks.
std::string Quoted(std::string const & text) {
    std::string quoted = "'";
    for (char const c : text)
        quoted += c == '\'' ? "'\\''" : std::string(1, c);
    return quoted + "'";
}

std::string ForBash(std::vector<Known> const & commands) {
    std::string names;
    std::string cases;
    for (Known const & command : commands) {
        names += command.name + " ";
        cases += "    " + command.name + ") words='";
        for (auto const & option : command.options)
            cases += option.first + " ";
        cases += "' ;;\n";
    }
    return "# source <(kestrel completion bash)\n"
           "_kestrel() {\n"
           "    local current=${COMP_WORDS[COMP_CWORD]} command= words= i\n"
           "    for ((i = 1; i < COMP_CWORD; ++i)); do\n"
           "        [[ ${COMP_WORDS[i]} == -* ]] || { command=${COMP_WORDS[i]}; break; }\n"
           "    done\n"
           "    case $command in\n"
           "    '' | help) words='" +
           names + "--help --version' ;;\n" + cases +
           "    esac\n"
           "    [[ -n $command && $command != help && $current != -* ]] && return\n"
           "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
           "}\n"
           "complete -o default -F _kestrel kestrel\n";
}

std::string ForZsh(std::vector<Known> const & commands) {
    std::string names;
    std::string cases;
    for (Known const & command : commands) {
        names += "    " + Quoted(command.name + ":" + command.purpose) + "\n";
        cases += "    " + command.name + ") words_of=(";
        for (auto const & [name, purpose] : command.options)
            cases += Quoted(name + ":" + purpose) + " ";
        cases += ") ;;\n";
    }
    return "#compdef kestrel\n"
           "_kestrel() {\n"
           "  local -a commands words_of\n"
           "  commands=(\n" +
           names +
           "  )\n"
           "  if (( CURRENT == 2 )) || [[ $words[2] == help ]]; then\n"
           "    _describe command commands\n"
           "    return\n"
           "  fi\n"
           "  case $words[2] in\n" +
           cases +
           "  esac\n"
           "  if [[ $PREFIX == -* ]]; then _describe option words_of; else _files; fi\n"
           "}\n"
           "compdef _kestrel kestrel\n";
}

std::string ForFish(std::vector<Known> const & commands) {
    std::string text;
    for (Known const & command : commands) {
        text += "complete -c kestrel -n __fish_use_subcommand -a " + command.name + " -d " +
                Quoted(command.purpose) + "\n";
        for (auto const & [name, purpose] : command.options)
            text += "complete -c kestrel -n '__fish_seen_subcommand_from " + command.name + "' " +
                    (name[1] == '-' ? "-l " + name.substr(2) : "-s " + name.substr(1)) + " -d " +
                    Quoted(purpose) + "\n";
    }
    return text;
}

} // namespace

std::string WriteCompletion(CLI::App const & app, std::string const & shell) {
    std::vector<Known> const commands = List(app);
    return shell == "bash"   ? ForBash(commands)
           : shell == "zsh"  ? ForZsh(commands)
           : shell == "fish" ? ForFish(commands)
                             : std::string();
}

} // namespace Tool
