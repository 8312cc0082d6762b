# shellcheck shell=bash disable=SC2154
# Sourced by run: Exim.

start_server() {
    user Debian-exim
    mkdir -p "$folder/spool" "$folder/log"
    chown Debian-exim: "$folder/spool" "$folder/log"
    install -d -o Debian-exim -m 700 "$maildir"
    install -o Debian-exim -m 600 "$folder/key.pem" "$folder/exim-key.pem"
    # Without a limit on deliveries per connection: past ten it would leave messages to a queue run.
    cat >"$folder/exim.conf" <<CONFIG
keep_environment =
exim_path = $unpacked/usr/sbin/exim4
spool_directory = $folder/spool
log_file_path = $folder/log/%slog
primary_hostname = mail.example.org
local_interfaces = 127.0.0.1
daemon_smtp_ports = $port
tls_advertise_hosts = *
tls_certificate = $folder/cert.pem
tls_privatekey = $folder/exim-key.pem
smtp_accept_queue_per_connection = 0
acl_smtp_rcpt = recipient
acl_smtp_data = accept

begin acl
recipient:
  deny   ! domains = example.org
         message = relay not permitted
  defer  condition = \${if eq {\${run{${greylist[*]} \$local_part@\$domain}}}{defer\n}}
         message = 4.7.1 Greylisted, please try again later
  require verify = recipient
  accept

begin routers
people:
  driver = accept
  domains = example.org
  local_parts = ^(person|later|left)[0-9]+\\\$
  transport = maildir

begin transports
maildir:
  driver = appendfile
  maildir_format
  directory = $maildir
  envelope_to_add
  user = Debian-exim
CONFIG
    # Not as a child of the namespace's first process: Exim takes that for a restart of its own and
    # would stay in the foreground.
    ("$unpacked/usr/sbin/exim4" -C "$folder/exim.conf" -bd && true)
}

server_version() {
    "$unpacked/usr/sbin/exim4" -C "$folder/exim.conf" -bV | sed -n 's/^Exim version \([^ ]*\).*/\1/p'
}

server_log() {
    cat "$folder"/log/*
}
