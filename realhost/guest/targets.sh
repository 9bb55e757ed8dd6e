# Functions that make targets; sourced by /guest/targets and by the scripts of checks. All but the last make targets
# of the kernel.
array=iqn.2024-01.example.array
config=/sys/kernel/config/target

# disk NAME MEGABYTES MODEL: a RAM disk
disk() {
    local directory=$config/core/rd_mcp_0/$1
    mkdir -p "$directory"
    echo "rd_pages=$(($2 * 256))" >"$directory/control"
    echo "$1" >"$directory/wwn/vpd_unit_serial"
    echo "$3" >"$directory/wwn/product_id"
    echo 1 >"$directory/enable"
}

# lun TARGET NUMBER DISK
lun() {
    local directory=$config/iscsi/$array:$1/tpgt_1/lun/lun_$2
    mkdir "$directory"
    ln -s "$config/core/rd_mcp_0/$3" "$directory/disk"
}

# target NAME PORTALS [LUN:DISK...], open for everybody
target() {
    local group=$config/iscsi/$array:$1/tpgt_1 portal lun
    mkdir -p "$group"
    for portal in $2; do mkdir "$group/np/$portal:3260"; done
    echo 1 >"$group/attrib/generate_node_acls"
    echo 1 >"$group/attrib/cache_dynamic_acls"
    echo 0 >"$group/attrib/demo_mode_write_protect"
    echo 0 >"$group/attrib/authentication"
    for lun in "${@:3}"; do lun "$1" "${lun%:*}" "${lun#*:}"; done
    echo 1 >"$group/enable"
}

# chap TARGET USER SECRET [USER_IN SECRET_IN]: without line ends, which would count
chap() {
    local group=$config/iscsi/$array:$1/tpgt_1
    echo 1 >"$group/attrib/authentication"
    printf %s "$2" >"$group/auth/userid"
    printf %s "$3" >"$group/auth/password"
    [ $# -gt 3 ] || return 0
    printf %s "$4" >"$group/auth/userid_mutual"
    printf %s "$5" >"$group/auth/password_mutual"
}

# tgt_target NAME MEGABYTES: served by tgtd at 10.0.0.3 and 10.0.0.4, with a controller as LUN 0 and a disk as LUN 1
tgt_target() {
    tgtd --iscsi portal=10.0.0.3:3260,portal=10.0.0.4:3260 >/dev/null 2>&1
    until tgtadm --op show --mode sys >/dev/null 2>&1; do sleep 0.1; done
    dd if=/dev/zero of="/run/$1" bs=1M count=0 seek="$2" 2>/dev/null
    tgtadm --op new --mode target --tid 1 -T "$array:$1"
    tgtadm --op new --mode logicalunit --tid 1 --lun 1 -b "/run/$1"
    tgtadm --op bind --mode target --tid 1 -I ALL
}
