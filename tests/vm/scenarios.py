#!/usr/bin/env python3
"""What --target local and the files of the tool must stand on a machine with UEFI, a BMC and a kernel.

scenarios.py FOLDER TOOL MODULE: the folder of make-initrd, the tool, and the commands of the simulated BMC.
"""
import os
import struct
import sys

import drivers
import machine
import powercut
from machine import expect

LOCAL = "saverestore --target local"
EFIVARS = "/sys/firmware/efi/efivars"
GLOBAL = "8be4df61-93ca-11d2-aa0d-00e098032b8c"


def load_option(description):
    """A boot entry (UEFI specification, EFI_LOAD_OPTION): active, without a device path."""
    return struct.pack("<IH", 1, 4) + description.encode("utf-16-le") + b"\0\0" + b"\x7f\xff\x04\0"


def set_variable(vm, name, data):
    text = "".join(f"\\{byte:03o}" for byte in struct.pack("<I", 7) + data)
    vm.run(f"printf '{text}' >/tmp/v && cat /tmp/v >{EFIVARS}/{name}-{GLOBAL}")


def boot_order(vm):
    data = vm.variable("BootOrder")
    return list(struct.unpack(f"<{len(data) // 2}H", data))


def without_a_bmc(vm, _):
    vm.run(f"{LOCAL} save --mode bmc none.ini", code=64, says="ipmi_si")
    vm.run(f"{LOCAL} save bios.ini", says="the BMC of this machine is left out")


def without_efi_variables(vm, _):
    vm.run("! grep UiApp bios.ini")


def load_drivers(vm):
    vm.run("for module in ipmi_msghandler ipmi_devintf ipmi_si think_lmi dell_wmi_sysman efivarfs; do modprobe $module || exit; done")
    vm.run(f"mount -t efivarfs none {EFIVARS}")


def first_save(vm, _):
    load_drivers(vm)
    for number, name in enumerate(("Disk A", "Disk B", "Network"), 1):
        set_variable(vm, f"Boot{number:04X}", load_option(name))
    set_variable(vm, "BootOrder", struct.pack("<4H", 0, 1, 2, 3))
    vm.run(f"{LOCAL} save before.ini")
    vm.run("grep -E '^(BIOSVersion|Power|Wake|UiApp|Disk|Network).*=' before.ini",
           says=["BIOSVersion=VM.1.2.3", "PowerRestorePolicy=RESTORE", "WakeOnLAN=Enable",
                 "UiApp=1\nDisk A=2\nDisk B=3\nNetwork=4"])


def not_root(vm, _):
    vm.run(f"su user -c '{LOCAL} save /tmp/own.ini'", code=77)
    vm.run("! ls /tmp/own.ini")


def edit_and_restore(vm, bmc):
    vm.run("sed -e s/^PowerRestorePolicy=RESTORE/PowerRestorePolicy=ON/ -e s/^SolRetryInterval=250/SolRetryInterval=300/"
           " -e s/^AccessMode=ALWAYS/AccessMode=SHARED/ -e s/^WakeOnLAN=Enable/WakeOnLAN=Disable/"
           " -e s/^Auto-On.Hour=6/Auto-On\\ Hour=17/ -e s/^Asset.Tag=rack.7/Asset\\ Tag=rack\\ 9/"
           " -e 's/^UiApp=1/UiApp=4/' -e 's/^Network=4/Network=1/' before.ini >wanted.ini")
    vm.run(f"{LOCAL} restore --yes wanted.ini", says=["88 unchanged, 5 applied, 3 pending", " 0 not applied"])
    vm.run(f"{LOCAL} verify wanted.ini")
    expect("ipmitool reads the power policy", "always-on" in bmc.ask("chassis", "status"))
    expect("ipmitool reads the retry interval", "300" in bmc.ask("sol", "info", "1"))
    expect("the flash has the boot order", boot_order(vm) == [3, 1, 2, 0])


def read_only_efi_variables(vm, _):
    vm.run(f"mount -o remount,ro {EFIVARS}")
    vm.run(f"{LOCAL} restore --yes --mode bios before.ini", code=77)
    vm.run(f"mount -o remount,rw {EFIVARS}")
    expect("the boot order is untouched", boot_order(vm) == [3, 1, 2, 0])


def after_a_reboot(vm, bmc):
    vm.reboot()
    load_drivers(vm)
    # These firmware settings are as new after a boot; the BMC and the UEFI variables keep theirs.
    vm.run(f"{LOCAL} verify wanted.ini", code=1, says=["Asset Tag", "Auto-On Hour", "WakeOnLAN", "82 of 85"])
    vm.run(f"{LOCAL} restore --yes before.ini", says="91 unchanged, 5 applied, 0 pending")
    vm.run(f"{LOCAL} verify before.ini")
    expect("ipmitool reads the power policy", "previous" in bmc.ask("chassis", "status"))
    expect("the flash has the boot order", boot_order(vm) == [0, 1, 2, 3])


def administrator_password(vm, _):
    vm.run("echo secret-1 >/sys/class/firmware-attributes/dell-wmi-sysman/authentication/Admin/new_password")
    vm.run("sed -e 's/^AC Recovery=Last/AC Recovery=On/' -e s/^Auto-On.Hour=6/Auto-On\\ Hour=7/ before.ini >wanted.ini"
           " && echo wrong >wrong && echo secret-1 >right")
    restore = f"{LOCAL} restore --mode bios --yes wanted.ini --password-file"
    vm.run(f"{restore} wrong", code=77, says="error 2054")
    expect("the firmware has counted one wrong password", vm.wrong_passwords() == 1)
    vm.run(f"{restore} right", says="2 pending")
    expect("and has not counted the right one", vm.wrong_passwords() == 1)
    vm.run(f"{LOCAL} verify wanted.ini")


def a_write_that_cuts_the_network(vm, bmc):
    write = f"{LOCAL} apply --yes --allow-lockout --set USERS::USER2::GlobalUserStatus=DISABLE --confirm 20 >told 2>&1"
    vm.run(f"echo '{write}' >login && systemctl start login")
    vm.run("until grep unless told; do sleep 1; done", says="unless within 20 seconds")
    expect("nobody gets in over the network", not bmc.lets_in())
    vm.run("systemctl list-units --no-legend 'saverestore*'", says="Takes a configuration back unless it is kept")
    vm.run("systemctl stop login && ! systemctl is-active login && cat told", says="interrupted")
    vm.run(f"until {LOCAL} history | grep ', taken back:'; do sleep 1; done", says="nobody kept it within 20 seconds")
    expect("an administrator gets in again", bmc.lets_in())
    vm.run("journalctl -t saverestore -o cat | tail -n 1", says="apply of local by root: 1 change, taken back")


def second_reboot(vm, _):
    vm.reboot()
    load_drivers(vm)


def main():
    folder, tool, module = (os.path.abspath(path) for path in sys.argv[1:4])
    powercut.make_file_system(f"{folder}/server")
    with machine.Machine(f"{folder}/cuts", disk=powercut.make_disk(f"{folder}/cuts")) as busy, \
            machine.Bmc(f"{folder}/server", module) as bmc, \
            machine.Machine(f"{folder}/server", bmc) as vm:
        powercut.keep_busy(busy)
        for scenario in (without_a_bmc, without_efi_variables, first_save, not_root, edit_and_restore,
                         read_only_efi_variables, after_a_reboot, administrator_password,
                         a_write_that_cuts_the_network,
                         *drivers.BEFORE_A_BOOT, second_reboot, *drivers.AFTER_A_BOOT):
            print(f"\n== {scenario.__name__.replace('_', ' ')}", flush=True)
            scenario(vm, bmc)
        powercut.cut_power(busy, after_round=12)
    print("\n== power cuts")
    powercut.check_cuts(f"{folder}/cuts", tool, 20)


if __name__ == "__main__":
    main()
