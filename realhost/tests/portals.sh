# Discovery and login at portals of all kinds.
. /test/checks.sh redhat-old
ask StartInitiator

section "Discovery"
row "a portal that refuses" "179: nothing was found.|The list deletes the empty record that stays, here under /var/lib/iscsi; one under /etc/iscsi is passed over." \
    DiscoverTarget 10.0.0.4 , GetTargetList
row "a portal that is dead" "As for a portal that refuses, only later." DiscoverTarget 10.0.1.1
answers "0*" DiscoverTarget 10.0.0.1 , RemovePersistentTarget 10.0.0.1
row "a target at a second portal" "Both portals are listed, that of the discovery first." GetList 40 :disks
row "a login with automatic startup" "As digests and CHAP, startup is written into every record of the portal.|All its targets show as persistent." LoginTarget :disks 10.0.0.1 startup=1 , GetTargetList
row "a target is discovered again" "Its record is made anew: startup, CHAP and digests are those of iscsid.conf.|The session lives on." DiscoverTarget 10.0.0.1 , GetTargetList
row "a second discovery portal offers the same targets" "It takes the entries over.|The list deletes the first portal's empty record." DiscoverTarget 10.0.0.2 , GetTargetList
row "a portal with a session among its targets is removed" "A session keeps its own target's record; those of the other targets are gone." RemoveTarget 10.0.0.1
ask DiscoverTarget 10.0.0.1
row "the same" "\`opinitctl\` says which are gone." opinitctl remove 10.0.0.1
check "records left" "$(cd /var/lib/iscsi/nodes && ls -d */10.0.0.1*)" "$array:disks/10.0.0.1,3260,1"
answers 0 LogoutTarget 1

section "Login"
ask DiscoverTarget 10.0.0.1
row "a target that was not discovered" "Discover it first." LoginTarget :unknown 10.0.0.1
row "CHAP is needed, and none was asked for; then with a wrong secret" "199 for a failed login of any kind.|A missing secret and a wrong one look alike." \
    LoginTarget :chap 10.0.0.1 , LoginTarget :chap 10.0.0.1 chap=1 user=user1 secret=wrongsecret99
row "a target without CHAP at the same portal, afterwards" "CHAP was written into every record of the portal; discover it again first." LoginTarget :disks 10.0.0.1
iscsiadm -m node -p 10.0.0.1:3260 -o update -n node.session.auth.authmethod -v None
row "the same with authmethod None in the record" "It is the user's name that matters; discover again." LoginTarget :disks 10.0.0.1
ask DiscoverTarget 10.0.0.1

# Records made by hand, for portals that do not answer.
by_hand() { iscsiadm -m node -o new -T "$array:$1" -p "$2:3260" >/dev/null; }
by_hand refused 10.0.0.4
row "a portal that refuses" "A minute or two, as the settings have it." LoginTarget :refused 10.0.0.4
by_hand dead 10.0.1.1
row "a portal that is dead" "Nor does the answer tell a dead portal from one that refuses." LoginTarget :dead 10.0.1.1

tgt_target tape 8
section "Another maker's target"
row "a portal of tgt" "It names only the portal that was asked." DiscoverTarget 10.0.0.3
row "its other portal" "|Both portals' directories keep their entries: the target is listed twice." DiscoverTarget 10.0.0.4 , GetTargetList
row "digests, which it refuses" "Discover it again before a login without: the record keeps them." LoginTarget :tape 10.0.0.3 header_digest=1
answers "0*" DiscoverTarget 10.0.0.3 , LoginTarget :tape 10.0.0.3
row "a LUN without a disk" "LUN 0 is the controller: counted, with its address alone." QueryDisks "$(the_session)"
answers 0 LogoutTarget "$(the_session)"

# Stopped, it takes connections and says nothing.
section "A portal that does not answer"
killall -STOP tgtd
opinitctl login $array:tape 10.0.0.3 >/run/login 2>&1 &
wait_until compgen -G '/sys/class/iscsi_connection/*/address'
row "while the login is on its way" "It counts as a session before it is logged in.|Nor can the stack be stopped." QuerySessionList , StopInitiator , opinitctl doctor
wait $!
check "opinitctl, when that login was given up" "$? $(tail -n1 /run/login)" "1 opinitctl: *there is no session to*"
row "how a login ends" "It answers 0 although there is no session: look at the sessions after each login." LoginTarget :tape 10.0.0.3
answers "0 -" QuerySessionCount
row "discovery" "As for a portal that refuses, only later." DiscoverTarget 10.0.0.3
killall -KILL tgtd
