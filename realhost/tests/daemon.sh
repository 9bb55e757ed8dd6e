# What becomes of the daemon, the module and the files under the library.
. /test/checks.sh
/guest/host redhat-old
new_agent
ask StartInitiator
ask DiscoverTarget 10.0.0.1

section "The daemon"
kill -KILL "$(</run/iscsid.pid)"
row "the daemon died, and its log writer lives on" "Half a daemon counts as one: done, it says, and there is no session." LoginTarget :disks 10.0.0.1
row "the same" "Done, and nothing was started: end what is left (\`killall iscsid\`) and start again." StartInitiator
row "the same" "The portal's directory was emptied, and nothing came." DiscoverTarget 10.0.0.1
check "half a daemon" "$(pidof iscsid | wc -w)" 1
kill_daemon
row "the whole daemon died" "Start it again." DiscoverTarget 10.0.0.1
answers 0 StartInitiator
kill_daemon
rmmod iscsi_tcp
row "the module was unloaded, too" "As before." QuerySessionCount
row "the same" "Loads and starts." StartInitiator
kill_daemon
rmmod iscsi_tcp
/sbin/iscsid
row "the module was unloaded, and the daemon runs" "As before." QuerySessionCount
row "the same" "Loads the module and leaves the daemon alone." StartInitiator
ask DiscoverTarget 10.0.0.1
answers 0 LoginTarget :disks 10.0.0.1

section "Files"
module=/lib/modules/$(uname -r)/kernel/drivers/scsi/iscsi_tcp.ko
mv "$module" /run/
row "the module's file went (a new kernel was installed)" "What runs is still served, but for start, settings and \`IsServiceAvailable\`: install the running kernel's modules, or boot the new one." QuerySessionCount
row "the same" "As before." StartInitiator
row "the same" "As before." SetProperty 16=7
row "the same" "As before." IsServiceAvailable
mv /run/iscsi_tcp.ko "$module"
mount --bind /etc /etc && mount -o remount,ro,bind /etc
row "/etc is read-only" "The name's file is opened for writing, too." GetInitiatorList
row "the same" "As before." GetInitiatorGlobals
row "the same" "As before, before sessions are counted." StopInitiator
row "the same" "As before." SetProperty 16=7
umount /etc

echo 2 >/proc/sys/fs/protected_regular
echo "somebody's" >/tmp/opiscsierr
chown 1000 /tmp/opiscsierr
row "another user's file stands where output is captured" "It is removed first: the answer is the command's own." LoginTarget :chap 10.0.0.1

cat >>/etc/iscsi/iscsid.conf <<'END'
discovery.sendtargets.auth.authmethod = CHAP
discovery.sendtargets.auth.username = finder
discovery.sendtargets.auth.password = finderssecret
END
row "an administrator wrote CHAP for discoveries into iscsid.conf" "Listed under the ids of the logins' CHAP, secret included." GetInitiatorGlobals
cp /guest/iscsid.conf /etc/iscsi/
row "ids 12 and 13 are set" "Written, and without effect: this open-iscsi knows no such keys." SetProperty 12=No 13=No
ask DiscoverTarget 10.0.0.1
check "ids 12 and 13" "$(grep -hc InOrder /etc/iscsi/iscsid.conf "/var/lib/iscsi/nodes/$array:disks/10.0.0.1,3260,1/default" | paste -sd' ')" "2 0"
answers 0 LogoutTarget 1
finish
