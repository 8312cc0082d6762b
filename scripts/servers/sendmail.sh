# shellcheck shell=bash disable=SC2154
# Sourced by run: Sendmail.

start_server() {
    user smmta
    user smmsp
    mkdir "$folder/queue"
    mkdir -p "$maildir"/{tmp,new,cur}
    chown -R smmta: "$maildir"
    # A busy machine must not make it refuse connections or leave messages in its queue.
    cat >"$folder/sendmail.mc" <<CONFIG
divert(0)
OSTYPE(\`linux')
define(\`confDOMAIN_NAME', \`example.org')
define(\`confPID_FILE', \`$folder/sendmail.pid')
define(\`confDEF_USER_ID', \`smmta:smmta')
define(\`confTO_IDENT', \`0')
define(\`confQUEUE_LA', \`1000')
define(\`confREFUSE_LA', \`1000')
define(\`confSERVER_CERT', \`$folder/cert.pem')
define(\`confSERVER_KEY', \`$folder/key.pem')
define(\`confDONT_BLAME_SENDMAIL', \`TrustStickyBit')
define(\`confCACERT', \`$folder/cert.pem')
define(\`confCACERT_PATH', \`$folder')
define(\`QUEUE_DIR', \`$folder/queue')
define(\`ALIAS_FILE', \`')
define(\`STATUS_FILE', \`$folder/statistics')
define(\`HELP_FILE', \`$folder/help')
define(\`LOCAL_MAILER_PATH', \`$here/deliver')
define(\`LOCAL_MAILER_ARGS', \`deliver $maildir \$u@example.org')
define(\`_DEF_LOCAL_MAILER_FLAGS', \`lsDFM')
define(\`LOCAL_MAILER_FLAGS', \`Pn')
FEATURE(\`no_default_msa')
FEATURE(\`nocanonify')
FEATURE(\`accept_unresolvable_domains')
DAEMON_OPTIONS(\`Name=MTA, Family=inet, Addr=127.0.0.1, Port=$port')
LOCAL_DOMAIN(\`example.org')
MAILER(\`local')
MAILER(\`smtp')

LOCAL_CONFIG
Kgreylist program ${greylist[*]}

LOCAL_RULESETS
SLocal_check_rcpt
R< \$+ >		\$: \$(greylist \$1 \$)
Rdefer		\$#error \$@ 4.7.1 \$: "451 Greylisted, please try again later"
Runknown	\$#error \$@ 5.1.1 \$: "550 User unknown"
R\$*		\$@ OK
CONFIG
    (cd "$unpacked/usr/share/sendmail/cf/cf" && m4 -D_CF_DIR_=../ ../m4/cf.m4 "$folder/sendmail.mc") \
        >"$folder/sendmail.cf"
    "$unpacked/usr/libexec/sendmail/sendmail" -C "$folder/sendmail.cf" -bd -X "$folder/traffic.log"
}

server_version() {
    "$unpacked/usr/libexec/sendmail/sendmail" -C "$folder/sendmail.cf" -d0.1 -bv root </dev/null |
        sed -n 's/^Version //p'
}

server_log() {
    grep -E "^[0-9]+ (<<< [A-Za-z]{4}\b|>>> [2-5][0-9]{2})" "$folder/traffic.log"
}
