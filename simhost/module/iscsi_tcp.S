/* What a kernel module tells about itself; there is no code behind it. */

    .section .modinfo, "a", @progbits
    .asciz "version=2.3.1"
    .asciz "license=GPL"
    .asciz "description=iSCSI/TCP data-path"
    .asciz "srcversion=5B1E0C94D27A63F8A0C1D4E"
    .asciz "depends=libiscsi_tcp,libiscsi,scsi_transport_iscsi"
    .asciz "intree=Y"
    .asciz "name=iscsi_tcp"
    .asciz "parm=max_lun:uint"

    .section .note.GNU-stack, "", @progbits
