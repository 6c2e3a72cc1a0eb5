#include <cstdio>

#include "errors.h"
#include "message_list.h"
#include "subcommands.h"

namespace sound::control {

namespace {

// The scripts, with the names of commands and notifications to fill in.
constexpr char kBash[] = R"~(# bash completion for soundctl
_soundctl() {
    local commands='%s'
    local notifications='%s'
    local current=${COMP_WORDS[COMP_CWORD]}
    local previous=${COMP_WORDS[COMP_CWORD-1]}
    local subcommand='' position=0 word before=''
    for word in "${COMP_WORDS[@]:1:COMP_CWORD-1}"; do
        local isValue=false
        [[ $before =~ ^--(broker|set|user|password-file|ca|cert|key|names)$ ]] && isValue=true
        before=$word
        if $isValue || [[ $word == -* || $word =~ ^(error|warning|info|trace|[0-9.:]+)$ ]]; then continue; fi
        if [[ -z $subcommand ]]; then subcommand=$word; else position=$((position + 1)); fi
    done
    local words=''
    COMPREPLY=()
    case $subcommand,$previous,$current in
        *,--expect,*) words=$notifications ;;
        *,--timeout,* | send,--json,* | *,--rate,* | *,--channels,*) ;;
        *,--names,* | *,--password-file,* | *,--ca,* | *,--cert,* | *,--key,*) COMPREPLY=($(compgen -f -- "$current")); return ;;
        *,--service,* | *,--broker,* | *,--set,* | *,--user,*) ;;
        *,--debug-level,*) words='error warning info trace' ;;
        send,*,-*) words='--json --expect --timeout --service --names --help' ;;
        diff,*,-*) words='--tolerance --help' ;;
        record,*,-*) words='--audio --rate --channels --service --help' ;;
        state,*,-*) words='--json --timeout --service --names --help' ;;
        monitor,*,-*) words='--json --service --names --help' ;;
        list,*,-*) words='--json --names --help' ;;
        batch,*,-*) words='--stream --service --names --help' ;;
        ,*,-*) words="--service --broker --set --user --password-file --ca --cert --key
            --names --debug-level --help --version" ;;
        *,*,-*) words='--help' ;;
        ,*) words='list send monitor state record diff batch completion' ;;
        send,*) [[ $position == 0 ]] && words=$commands ;;
        monitor,* | state,*) words=$notifications ;;
        list,*) words="$commands $notifications" ;;
        completion,*) words='bash zsh' ;;
        record,* | diff,* | batch,*) COMPREPLY=($(compgen -f -- "$current")); return ;;
    esac
    COMPREPLY=($(compgen -W "$words" -- "$current"))
}
complete -F _soundctl soundctl
)~";

constexpr char kZsh[] = R"~(#compdef soundctl
_soundctl() {
    local -a commands=(%s)
    local -a notifications=(%s)
    _arguments -C \
        '--service[where the sound service is]:address:' \
        '--broker[speak to sets on an MQTT broker]:broker:' \
        '--set[one of them, or *]:set:' \
        '--user[who we are to it]:name:' \
        '--password-file[and the password]:file:_files' \
        '--ca[certificates to check it by]:file:_files' \
        '--cert[our certificate]:file:_files' '--key[its key]:file:_files' \
        '--names[names of fields]:file:_files' \
        '--debug-level[what the log shows]:level:(error warning info trace)' \
        '--help[show help]' '--version[show the version]' \
        '1:subcommand:(list send monitor state record diff batch completion)' '*::argument:->arguments'
    [[ $state == arguments ]] || return
    case $words[1] in
        list) _arguments '--json[one document]' "1:pattern:($commands $notifications)" ;;
        send) _arguments '--json[arguments as JSON]:object:' \
            "--expect[notification to wait for]:notification:($notifications)" \
            '--timeout[how long to wait]:time:' "1:command:($commands)" '*:value:' ;;
        monitor) _arguments '--json[JSON lines]' "*:notification:($notifications)" ;;
        state) _arguments '--json[one document]' '--timeout[how long to wait]:time:' \
            "*:notification:($notifications)" ;;
        record) _arguments '--audio[the sound, too]:file:_files' '--rate[of the sound]:rate:' \
            '--channels[of the sound]:channels:' '1:file:_files' ;;
        diff) _arguments '--tolerance[of times]:time:' '1:file:_files' '2:file:_files' ;;
        batch) _arguments '--stream[send each line as it comes]' '1:file:_files' ;;
        completion) _arguments '1:shell:(bash zsh)' ;;
    esac
}
if [[ $funcstack[1] == _soundctl ]]; then
    _soundctl "$@"
else
    compdef _soundctl soundctl
fi
)~";

template <class Messages>
std::string join(Messages messages) {
    std::string names;
    for (reflection::Message const& message : messages) {
        if (!names.empty()) names += ' ';
        names += message.name;
    }
    return names;
}

/// Puts the names where the script has its two "%s".
std::string fillIn(std::string script) {
    for (std::string const& names :
         {join(reflection::commands()), join(reflection::notifications())}) {
        script.replace(script.find("%s"), 2, names);
    }
    return script;
}

}  // namespace

void completion(std::string const& shell) {
    std::fputs(fillIn(shell == "bash" ? kBash : kZsh).c_str(), stdout);
}

}  // namespace sound::control
