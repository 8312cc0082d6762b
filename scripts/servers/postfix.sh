# shellcheck shell=bash disable=SC2154
# Sourced by run: Postfix.

start_server() {
    user postfix
    user postdrop
    local config=$folder/config sbin=$unpacked/usr/lib/postfix/sbin
    mkdir "$config" "$folder/queue"
    # Its libraries lie in the unpacked package. Its daemons get a clean environment but for these.
    export LD_LIBRARY_PATH=$unpacked/usr/lib/postfix MAIL_CONFIG=$config
    cat >"$config/main.cf" <<CONFIG
compatibility_level = 3.6
import_environment = LD_LIBRARY_PATH=$LD_LIBRARY_PATH MAIL_CONFIG=$config
queue_directory = $folder/queue
data_directory = $folder/data
daemon_directory = $sbin
command_directory = $unpacked/usr/sbin
shlib_directory = $unpacked/usr/lib/postfix
meta_directory = $unpacked/etc/postfix
sendmail_path = $unpacked/usr/sbin/sendmail
mailq_path = $unpacked/usr/sbin/sendmail
newaliases_path = $unpacked/usr/sbin/sendmail
maillog_file = $folder/mail.log
maillog_file_prefixes = /
inet_interfaces = 127.0.0.1
inet_protocols = ipv4
myhostname = mail.example.org
mydestination =
alias_maps =
virtual_mailbox_domains = example.org
virtual_mailbox_maps = regexp:{ {/^(person|later|left)[0-9]+@/ maildir/} }
virtual_mailbox_base = $folder
virtual_uid_maps = static:$(id -u postfix)
virtual_gid_maps = static:$(id -g postfix)
smtpd_tls_security_level = may
smtpd_tls_chain_files = $folder/chain.pem
smtpd_recipient_restrictions =
    reject_unauth_destination
    check_policy_service unix:private/greylist
smtpd_data_restrictions = reject_unauth_pipelining
smtpd_end_of_data_restrictions = reject_unauth_pipelining
CONFIG
    cat >"$config/master.cf" <<CONFIG
127.0.0.1:$port inet n - n - - smtpd
cleanup  unix n - n - 0 cleanup
qmgr     unix n - n 300 1 qmgr
tlsmgr   unix - - n 1000? 1 tlsmgr
rewrite  unix - - n - - trivial-rewrite
bounce   unix - - n - 0 bounce
defer    unix - - n - 0 bounce
proxymap unix - - n - - proxymap
error    unix - - n - - error
retry    unix - - n - - error
showq    unix n - n - - showq
virtual  unix - n n - - virtual
anvil    unix - - n - 1 anvil
postlog  unix-dgram n - n - 1 postlogd
greylist unix - n n - 0 spawn user=nobody argv=${greylist[*]}
CONFIG
    install -d -o postfix -m 700 "$maildir"
    "$unpacked/usr/sbin/postfix" start
}

server_version() {
    "$unpacked/usr/sbin/postconf" -h mail_version
}

server_log() {
    cat "$folder/mail.log"
}
