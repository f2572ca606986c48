@ The record at the start of a library's code: numbers are big-endian whatever the file's order.
    .section .record, "ax"
    .arm
    .global LibraryRecord
    .type LibraryRecord, %object
LibraryRecord:
    b LibraryAdd
    b LibraryCalls
    .byte 0x01, 0x20, 0x00, 0x04        @ id words 0x120 and 4: module 0x68
    .byte 0, 0, 0, 3                    @ revision
    .byte 0, 0, 0, 2                    @ entries
    .ascii "libr"
    .ascii "smpl"
    .ascii "code"
    .byte 0, 7                          @ resource id
    .byte 0, 5                          @ patchable, debug
    .asciz "SampleLibrary"
    .balign 4
    .zero 64 - (. - LibraryRecord)
    .size LibraryRecord, . - LibraryRecord
