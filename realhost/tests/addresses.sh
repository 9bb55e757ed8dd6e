# IPv6 portals, and records that are bound to interfaces.
. /test/checks.sh redhat-old
long=2001:db8::1234:5678:9abc:def0
for address in fd00::1 $long; do ip -6 address add "$address/128" dev lo; done
target six "10.0.0.1 [fd00::1] [$long]"
ask StartInitiator

section "IPv6"
row "a target has IPv6 portals too" "It is listed like any other." DiscoverTarget 10.0.0.1
row "the same" "Records have no room for such an address: it is all zero. \`opinitctl\` shows it." GetList 40 :six
iscsiadm -m discovery -t st -p "[$long]:3260" >/dev/null
iscsiadm -m node -T $array:six -p "[fd00::1]:3260" -l >/dev/null
row "somebody discovered at an IPv6 portal and logged in at the other one" "Its address is all zero, too.|Its directory has taken all entries over: \`logged_in\` is asked at the address that sorts last, here this one.|" QuerySessionList , GetTargetList , opinitctl doctor
answers 0 LogoutTarget 1 , LoginTarget :disks 10.0.0.1
row "the same, but the session is to another target at an IPv4 portal" "At the IPv6 address that sorts last there is no session." GetTargetList
answers 0 LogoutTarget 2
row "the same" "Portals with an IPv4 address can be removed as before." RemoveTarget 10.0.0.1
iscsiadm -m discovery -t st -p "[fd00::7]:3260" >/dev/null
check "an empty record" "$(cd /var/lib/iscsi/send_targets && ls)" "*fd00::7,3260*"
row "somebody discovered at an IPv6 portal that refuses" "The list deletes the empty record." GetTargetList
check "it is gone" "$(cd /var/lib/iscsi/send_targets && ls)" "$long,3260"

section "Records made in other ways"
ask StopInitiator
become redhat-old
ask StartInitiator
iscsiadm -m node -o new -T $array:disks -p 10.0.0.1:3260 >/dev/null
row "a record made by hand" "It can be logged in to.|It is not listed.|\`opinitctl\` lists it.|Nor can it be removed: \`iscsiadm -m node -o delete\` does it." \
    LoginTarget :disks 10.0.0.1 , GetTargetList , opinitctl targets , RemoveTarget 10.0.0.1
iscsiadm -m node -u >/dev/null
iscsiadm -m node -o delete
for name in left right; do
    iscsiadm -m iface -I $name -o new && iscsiadm -m iface -I $name -o update -n iface.net_ifacename -v lo
done >/dev/null
ask DiscoverTarget 10.0.0.1
row "two interfaces are defined, and records are bound to them; a login" "It makes a session by each.|Nothing but their numbers tells them apart.|Startup is read from records of the interface \`default\`: it does not show." \
    LoginTarget :disks 10.0.0.1 startup=1 , QuerySessionList , GetTargetList
iscsiadm -m node -u >/dev/null
