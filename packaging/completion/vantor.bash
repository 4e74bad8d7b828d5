# bash completion for vantor, vantor-reader and vantor-issuer.
# The programs are not asked, except vantor-reader for its profiles: loading the library to complete a
# word would clear old logs away. A test compares the table with what each --help says.

# What may follow each command. An option that takes a value ends with "=".
declare -gA _vantor_words=(
    [vantor]="info beep ic mag id purse m1 m0 ssc error config
        --help --port= --baud= --timeout= --slot= --json --mask --version"
    [vantor info]="--help"
    [vantor beep]="--help"
    [vantor ic]="reset info log loads apdu detect arqc complete transaction --help"
    [vantor ic reset]="--help --contactless --auto"
    [vantor ic info]="--help --tags= --contactless --auto --interface= --aid="
    [vantor ic log]="--help --contactless --auto --interface= --aid="
    [vantor ic loads]="--help --contactless --auto"
    [vantor ic apdu]="--help --script= --contactless --auto"
    [vantor ic detect]="--help"
    [vantor ic arqc]="--help --amount= --other= --currency= --date= --time= --type= --merchant=
        --letters= --contactless --auto --interface= --aid= --save= --hex"
    [vantor ic complete]="--help --arpc= --saved= --scripts-only"
    [vantor ic transaction]="--help --amount= --other= --currency= --date= --time= --type=
        --merchant= --letters= --contactless --auto --interface= --aid= --scripts-only --issuer="
    [vantor mag]="read write number --help"
    [vantor mag read]="--help --tracks="
    [vantor mag write]="--help --track2= --track3= --yes"
    [vantor mag number]="--help --tracks= --separator="
    [vantor id]="read reset --help"
    [vantor id read]="--help --photo="
    [vantor id reset]="--help"
    [vantor purse]="balance log read load purchase --help"
    [vantor purse balance]="--help --contactless --auto --aid= --pin="
    [vantor purse log]="--help --contactless --auto --aid= --pin="
    [vantor purse read]="--help --contactless --auto --aid= --pin= --offset="
    [vantor purse load]="--help --contactless --auto --aid= --pin= --deposit --amount= --date=
        --time= --terminal= --key-index= --issuer="
    [vantor purse purchase]="--help --contactless --auto --aid= --pin= --deposit --amount= --date=
        --time= --terminal= --key-index= --issuer= --number="
    [vantor m1]="read write value increment decrement dump --help"
    [vantor m1 read]="--help --count= --key= --key-b= --key-file= --first-sector="
    [vantor m1 write]="--help --text= --yes --key= --key-b= --key-file= --first-sector="
    [vantor m1 value]="--help --set= --key= --key-b= --key-file= --first-sector="
    [vantor m1 increment]="--help --key= --key-b= --key-file= --first-sector="
    [vantor m1 decrement]="--help --key= --key-b= --key-file= --first-sector="
    [vantor m1 dump]="--help --size= --key= --key-b= --key-file= --first-sector="
    [vantor m0]="read write auth set-key dump --help"
    [vantor m0 read]="--help --count= --key="
    [vantor m0 write]="--help --text= --yes --key="
    [vantor m0 auth]="--help --key="
    [vantor m0 set-key]="--help --yes --key="
    [vantor m0 dump]="--help --key="
    [vantor ssc]="--help --contactless --auto"
    [vantor error]="--help --interface="
    [vantor config]="get set --help"
    [vantor config get]="--help"
    [vantor config set]="--help"
    [vantor-reader]="usb --help --profile= --list-profiles --print-profile= --speak= --krel-only
        --union-only --pace --control= --link= --trace --trace-full --quiet"
    [vantor-reader usb]="--help --attach --listen= --vid= --pid= --manufacturer= --product=
        --serial-number= --no-out-endpoint"
    [vantor-issuer]="load purchase --help --master-key= --cryptogram-key= --mac-key=
        --encipherment-key= --card= --profile= --pan= --psn= --cdol1= --data= --refer-above=
        --decline-above= --code= --script= --script-id= --template= --explain --spoil-arpc
        --spoil-mac"
    [vantor-issuer load]="--help --request= --answer= --date= --time= --account= --key= --explain"
    [vantor-issuer purchase]="--help --request= --answer= --date= --time= --account= --key=
        --explain --number="
)

# What an option takes, where it can be listed. For all others the shell offers file names.
_vantor_values() {
    case $2 in
    --port)
        echo USB
        (cd /dev && printf '%s\n' ttyS[0-3] ttyAMA* ttyUSB* ttyACM* pts/[0-9]*) | grep -v '\*'
        ;;
    --baud) echo 1200 2400 4800 9600 19200 38400 57600 115200 ;;
    --interface) echo bo terminal ;;
    --tracks) echo 1 2 3 1,2 2,3 1,2,3 ;;
    --first-sector) echo 0 1 ;;
    --size) echo 1K 4K ;;
    --speak) echo krel union both none ;;
    --profile | --print-profile) vantor-reader --list-profiles 2>/dev/null | cut -d ' ' -f 1 ;;
    --template) echo 71 72 ;;
    --account) echo 1 2 ;;
    --script)
        [ "$1" != vantor-issuer ] || echo block-card block-application unblock-application \
            unblock-pin pin-change put-data raw
        ;;
    esac
}

# The words behind the command itself.
_vantor_arguments() {
    case $1 in
    "vantor config get" | "vantor config set")
        echo DevBaud IdBaud IcBaud Iccmd devtype IdChange loglevel saveday
        ;;
    esac
}

_vantor() {
    local current=${COMP_WORDS[COMP_CWORD]} command=${COMP_WORDS[0]##*/} option= word= offered= index
    COMPREPLY=()
    for ((index = 1; index < COMP_CWORD; index++)); do
        word=${COMP_WORDS[index]}
        case $word in
        --)
            # The rest is handed on to the issuer's program.
            case $command in
            "vantor purse load" | "vantor purse purchase") command="vantor-issuer ${command##* }" ;;
            *) command=vantor-issuer ;;
            esac
            ;;
        =) ;; # the shell takes "--option=value" for three words
        -*)
            option=
            for offered in ${_vantor_words[$command]} ${_vantor_words[${command%% *}]}; do
                [ "$offered" != "$word=" ] || option=$word
            done
            continue
            ;;
        *)
            if [ -z "$option" ] && [ -n "${_vantor_words[$command $word]-}" ]; then
                command="$command $word"
            fi
            option=
            ;;
        esac
    done
    [ "$current" != = ] || current=

    if [ -n "$option" ]; then
        offered=$(_vantor_values "$command" "$option")
    elif [[ $current == -* ]]; then
        # The options of the program itself may stand behind its commands, the issuer's may not.
        offered=${_vantor_words[$command]}
        [ "${command%% *}" = vantor-issuer ] || offered+=" ${_vantor_words[${command%% *}]}"
        offered=$(printf '%s\n' $offered | sed -n 's/^\(-.*[^=]\)=*$/\1/p')
    else
        offered="$(_vantor_arguments "$command") ${_vantor_words[$command]}"
        offered=$(printf '%s\n' $offered | grep -v '^-')
    fi
    COMPREPLY=($(compgen -W "$offered" -- "$current"))
}

complete -o default -F _vantor vantor vantor-reader vantor-issuer
