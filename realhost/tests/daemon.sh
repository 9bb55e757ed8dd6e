# What becomes of the daemon, the module and the files under the library.
. /test/checks.sh redhat-old
answers "0*" StartInitiator , DiscoverTarget 10.0.0.1

section "The daemon"
kill -KILL "$(</run/iscsid.pid)"
row "the daemon died, and its log writer lives on" "Half a daemon counts as one: it answers 0 although there is no session.|The doctor tells.|\`opinitctl\` looks for the session itself." \
    LoginTarget :disks 10.0.0.1 , opinitctl doctor , opinitctl login :disks 10.0.0.1
row "the same" "It answers 0 and starts nothing: end what is left (\`killall iscsid\`) and start again.|The portal's directory was emptied before the discovery failed." StartInitiator , DiscoverTarget 10.0.0.1
check "half a daemon" "$(pidof iscsid | wc -w)" 1
kill_daemon
row "the whole daemon died" "183: start it.||It runs again." DiscoverTarget 10.0.0.1 , opinitctl doctor , StartInitiator
kill_daemon
rmmod iscsi_tcp
row "the module was unloaded, too" "|A start loads the module and starts the daemon." QuerySessionCount , StartInitiator
kill_daemon
rmmod iscsi_tcp
/sbin/iscsid
row "the module was unloaded, and the daemon runs" "Without its module a daemon counts for nothing.||A start loads it and leaves the daemon alone." QuerySessionCount , opinitctl doctor , StartInitiator
answers "0*" DiscoverTarget 10.0.0.1 , LoginTarget :disks 10.0.0.1

section "Files"
module=/lib/modules/$(uname -r)/kernel/drivers/scsi/iscsi_tcp.ko
mv "$module" /run/
row "the module's file went (a new kernel was installed)" "What runs is still served.|Not so a start: install the running kernel's modules, or boot the new one.|Nor a change of settings.|0 is \"no\"." \
    QuerySessionCount , StartInitiator , SetProperty 16=7 , IsServiceAvailable , opinitctl doctor
mv /run/iscsi_tcp.ko "$module"
mount --bind /etc /etc && mount -o remount,ro,bind /etc
row "/etc is read-only" "The initiator name's file is opened for writing, too.|The settings come with the name.|A stop asks for the name before it counts sessions.|-1, unsigned: the file could not be written (or, as 191, memory ran out)." \
    GetInitiatorList , GetInitiatorGlobals , StopInitiator , SetProperty 16=7 , opinitctl doctor
umount /etc

echo 2 >/proc/sys/fs/protected_regular
echo "somebody's" >/tmp/opiscsierr
chown 1000 /tmp/opiscsierr
row "another user's file stands where output is captured" "It is removed first: the answer is the command's own." LoginTarget :chap 10.0.0.1
echo kept >/run/kept
for way in "link to a file:ln -sf /run/kept" FIFO:mkfifo "directory with something in it:mkdir -p /tmp/opiscsierr/somebodys"; do
    rm -f /tmp/opiscsierr
    ${way#*:} /tmp/opiscsierr
    row "a ${way%:*} stands there" "It is out of the way first." LoginTarget :chap 10.0.0.1
done
check "the file linked to, and the directory" "$(</run/kept) $(ls -d /tmp/opiscsierr.aside.*/somebodys)" "kept /tmp/*"

printf 'discovery.sendtargets.auth.%s\n' "authmethod = CHAP" "username = finder" "password = finderssecret" >>/etc/iscsi/iscsid.conf
row "an administrator wrote CHAP for discoveries into iscsid.conf" "They are listed under the ids of the logins' CHAP, secret included." GetInitiatorGlobals , opinitctl doctor
cp /guest/iscsid.conf /etc/iscsi/
row "ids 12 and 13 are set" "Written, and without effect: this open-iscsi knows no such keys." SetProperty 12=No 13=No
ask DiscoverTarget 10.0.0.1
check "ids 12 and 13" "$(grep -hc InOrder /etc/iscsi/iscsid.conf "/var/lib/iscsi/nodes/$array:disks/10.0.0.1,3260,1/default" | paste -sd' ')" "2 0"
answers 0 LogoutTarget 1
