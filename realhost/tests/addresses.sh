# IPv6 portals, and records that are bound to interfaces.
. /test/checks.sh redhat-old
long=2001:db8::1234:5678:9abc:def0
for address in fd00::1 $long; do ip -6 address add "$address/128" dev lo; done
target six "10.0.0.1 [fd00::1] [$long]"
ask StartInitiator

section "IPv6"
row "a target has IPv6 portals too" "It is listed as any other." DiscoverTarget 10.0.0.1
row "the same" "Records have no form for such an address: it is all zero. \`opinitctl\` shows it." GetList 40 :six
iscsiadm -m node -T $array:six -p "[$long]:3260" -l >/dev/null
row "a session to an IPv6 portal, logged in by hand" "Its address is all zero, too, and its target does not show as logged in: ask for the sessions." QuerySessionList , GetTargetList , opinitctl doctor
answers 0 LogoutTarget 1 , LoginTarget :disks 10.0.0.1
iscsiadm -m discovery -t st -p "[$long]:3260" >/dev/null
row "somebody discovered at an IPv6 portal, and there is a session to another target" "Its directory has taken all entries over, and an address with a colon stands last: nothing shows as logged in." GetTargetList
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
row "a record made by hand" "It can be logged in to, but is not listed and cannot be removed; \`iscsiadm -m node -o delete\` can." \
    LoginTarget :disks 10.0.0.1 , GetTargetList , opinitctl targets , RemoveTarget 10.0.0.1
iscsiadm -m node -u >/dev/null
iscsiadm -m node -o delete
for name in left right; do
    iscsiadm -m iface -I $name -o new && iscsiadm -m iface -I $name -o update -n iface.net_ifacename -v lo
done >/dev/null
ask DiscoverTarget 10.0.0.1
row "two interfaces are defined, and records are bound to them; a login" "It makes a session by each; nothing tells them apart but their numbers. Startup is read from records of the interface \`default\`: it does not show." \
    LoginTarget :disks 10.0.0.1 startup=1 , QuerySessionList , GetTargetList
iscsiadm -m node -u >/dev/null
