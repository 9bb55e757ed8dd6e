# Discovery and login at portals of all kinds.
. /test/checks.sh
/guest/host redhat-old
new_agent
ask StartInitiator
databases=/var/lib/iscsi

session_of() { grep -l ":$1" /sys/class/iscsi_session/*/targetname | sed 's/[^0-9]*\([0-9]*\).*/\1/'; }

section "Discovery"
row "a portal that refuses" "Nothing was found; an empty discovery record stays." DiscoverTarget 10.0.0.4
row "the same" "The list deletes that record, here under /var/lib/iscsi; one under /etc/iscsi is passed over." GetTargetList
row "a portal that is dead" "As for one that refuses, only later." DiscoverTarget 10.0.1.1
ask DiscoverTarget 10.0.0.1
ask RemovePersistentTarget 10.0.0.1
row "a target at a second portal" "Both portals are listed, that of the discovery first." GetList 40 :disks
ask LoginTarget :disks 10.0.0.1 startup=1
row "a target is discovered again" "Its record is made anew: startup, CHAP and digests are those of iscsid.conf." DiscoverTarget 10.0.0.1
row "the same" "It starts by itself no more; the session lives on." GetTargetList
row "a second discovery portal offers the same targets" "It takes the entries over." DiscoverTarget 10.0.0.2
row "the same" "The first portal's directory is empty, and its record is deleted here." GetTargetList
row "a portal with a session among its targets is removed" "The session keeps its own record alone; those of the other targets are gone." RemoveTarget 10.0.0.1
check "records left" "$(cd $databases/nodes && ls -d */10.0.0.1*)" "$array:disks/10.0.0.1,3260,1"
answers 0 LogoutTarget 1

section "Login"
ask DiscoverTarget 10.0.0.1
row "a target that was not discovered" "Discover it first." LoginTarget :unknown 10.0.0.1
row "CHAP is needed, and none was asked for" "Nothing tells it from a wrong secret." LoginTarget :chap 10.0.0.1
row "the secret is wrong" "As before." LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=wrongsecret99
row "a target without CHAP at the same portal, afterwards" "CHAP was written into every record of the portal; discover it again first." LoginTarget :disks 10.0.0.1
iscsiadm -m node -p 10.0.0.1:3260 -o update -n node.session.auth.authmethod -v None
row "the same with authmethod None in the record" "It is the user's name that matters; discover again." LoginTarget :disks 10.0.0.1
ask DiscoverTarget 10.0.0.1

# Records made by hand, for portals that do not answer.
by_hand() { iscsiadm -m node -o new -T "$array:$1" -p "$2:3260" >/dev/null; }
by_hand refused 10.0.0.4
row "a portal that refuses" "A minute or two, as the settings have it." LoginTarget :refused 10.0.0.4
by_hand dead 10.0.1.1
row "a portal that is dead" "As before." LoginTarget :dead 10.0.1.1

tgt_target tape 8
section "Another maker's target"
row "a portal of tgt" "It tells of the portal that was asked alone." DiscoverTarget 10.0.0.3
row "its other portal" "Here both directories keep their entries: the target is listed twice." DiscoverTarget 10.0.0.4
row "the same" "As before." GetTargetList
row "digests, which it refuses" "Discover it again before a login without: the record keeps them." LoginTarget :tape 10.0.0.3 header_digest=1
ask DiscoverTarget 10.0.0.3
ask LoginTarget :tape 10.0.0.3
row "a LUN without a disk" "LUN 0 is the controller: counted, with its address alone." QueryDisks "$(session_of tape)"
answers 0 LogoutTarget "$(session_of tape)"

# Stopped, it takes connections and says nothing.
section "A portal that does not answer"
killall -STOP tgtd
opinitctl login $array:tape 10.0.0.3 >/run/opinitctl.out 2>&1 &
wait_until compgen -G '/sys/class/iscsi_connection/*/address'
row "while the login is on its way" "It counts as a session, though nothing is logged in." QuerySessionList
row "the same" "It stands in the way." StopInitiator
wait $!
row "how a login ends" "Done, it says, and there is no session: look at the sessions after each login." LoginTarget :tape 10.0.0.3
answers "0 0" QuerySessionCount
row "discovery" "As for one that refuses, only later." DiscoverTarget 10.0.0.3
killall -KILL tgtd
finish
