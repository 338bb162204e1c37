#include "player/cli/CommandLine.h"
#include "player/cli/Commands.h"
#include "player/cli/Completion.h"
#include "player/cli/ExitCode.h"
#include "player/cli/Terminal.h"

namespace {

// Each asks "pelk complete" with the words up to the cursor. A line of the answer is a word and, behind a
// tab where there is one, what it means; ":files" and ":folders" leave it to the shell.

const char* const bashScript =
    R"sh(# Completions of pelk for bash. To load them: source <(pelk completions bash)
_pelk() {
    local words=() rest=$COMP_LINE stripped piece i line quote= drop=
    # Bash also splits words at colons and equals signs, which paths have.
    for ((i = 0; i <= COMP_CWORD; i++)); do
        piece=${COMP_WORDS[i]}
        stripped=${rest#"${rest%%[![:space:]]*}"}
        if ((i == 0)) || [[ $stripped != "$rest" ]]; then words+=("$piece"); else words[-1]+=$piece; fi
        rest=${stripped#"$piece"}
    done
    local current=${words[-1]}
    case $current in
        [\'\"]*) quote=${current:0:1}; current=${current:1} ;;
        *) current=${current//\\/}; [[ $current == *[:=]* ]] && drop=${current%"${current##*[:=]}"} ;;
    esac
    COMPREPLY=()
    while IFS= read -r line; do
        case $line in
            :files | :folders)
                compopt -o filenames
                [[ $line == :files ]] && i=-f || i=-d
                mapfile -t COMPREPLY < <(compgen "$i" -- "$current")
                COMPREPLY=("${COMPREPLY[@]#"$drop"}")
                return ;;
        esac
        line=${line%%$'\t'*}
        [[ $line == *[:/] ]] && compopt -o nospace
        line=${line#"$drop"}
        [[ -n $quote ]] || printf -v line %q "$line"
        COMPREPLY+=("$line")
    done < <(pelk complete -- "${words[@]:1:${#words[@]}-2}" "$current" 2>/dev/null)
}
complete -F _pelk pelk
)sh";

const char* const zshScript = R"sh(#compdef pelk
# Completions of pelk for zsh. To load them: source <(pelk completions zsh)
_pelk() {
    local line word
    local -a whole open
    for line in "${(@f)$(pelk complete -- "${(@Q)words[2,CURRENT-1]}" "${(Q)PREFIX}" 2>/dev/null)}"; do
        case $line in
            '') continue ;;
            :files) _files; return ;;
            :folders) _files -/; return ;;
        esac
        word=${line%%$'\t'*}
        line=${${word//\\/\\\\}//:/\\:}${${line#"$word"}/#$'\t'/:}
        case $word in
            *[:/]) open+=("$line") ;;
            *) whole+=("$line") ;;
        esac
    done
    _describe pelk whole -- open -S ''
}
(( $+functions[compdef] )) && compdef _pelk pelk
)sh";

const char* const fishScript =
    R"sh(# Completions of pelk for fish. To load them: pelk completions fish | source
function __pelk_complete
    set -l before (commandline -opc)
    set -l current (commandline -ct)
    # A word in quotes that are still open cannot be unescaped.
    if string match -qr -- '^[\'"]' "$current"
        set current (string sub -s 2 -- "$current")
    else
        set current (string unescape -- "$current")
    end
    set -l lines (pelk complete -- $before[2..-1] "$current" 2>/dev/null)
    switch "$lines[1]"
        case :files
            __fish_complete_path "$current"
        case :folders
            __fish_complete_directories "$current"
        case '*'
            printf '%s\n' $lines
    end
end
complete -c pelk -f -a '(__pelk_complete)'
)sh";

} // namespace

int Commands::completions(const CommandLine& line, PlayerConnection& /*player*/)
{
    const QString shell = line.text("SHELL");
    Terminal::out(QString::fromUtf8(shell == QLatin1String("bash")  ? bashScript
                                    : shell == QLatin1String("zsh") ? zshScript
                                                                    : fishScript));
    return ExitCode::ok;
}

int Commands::complete(const CommandLine& line, PlayerConnection& player)
{
    const QVector<Completion> completions = completionsOf(line.texts("WORD"), player);
    for (const Completion& completion : completions)
        Terminal::out((completion.meaning.isEmpty()
                           ? completion.word
                           : completion.word + QLatin1Char('\t') + completion.meaning) +
                      QLatin1Char('\n'));
    return ExitCode::ok;
}
