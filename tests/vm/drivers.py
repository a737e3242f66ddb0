"""What the kernel's drivers for firmware settings and for the BMC make of wrong passwords, locked and deaf
settings, and of a BMC that falls silent."""
import signal

from machine import expect

LOCAL = "saverestore --target local"
FIRMWARE = "/sys/class/firmware-attributes"


def restore(edits, options=""):
    """A command that restores before.ini with edits of sed, the BIOS part."""
    sed = " ".join(f"-e 's/^{old}/{new}/'" for old, new in edits)
    return f"sed {sed} before.ini >wanted.ini && {LOCAL} restore --yes --mode bios {options} wanted.ini"


def deaf_setting(vm, _):
    vm.run(restore([("Wake on AC=Off", "Wake on AC=On"), ("Asset Tag=rack 7", "Asset Tag=rack 8")],
                   "--password-file right"),
           says=["rack 8  pending until the next boot (the firmware waits for a restart)",
                 "On  pending until the next boot (to be verified", " 4 pending", " 0 not applied"])


def deaf_setting_after_a_boot(vm, _):
    # As new after the boot, which is what a firmware shows that has not taken them over.
    vm.run(f"{LOCAL} verify --mode bios wanted.ini", code=1, says=["rack 7 → rack 8", "Off → On"])


def one_driver_keeps_a_password(vm, _):
    vm.run(f"echo secret-1 >{FIRMWARE}/thinklmi/authentication/Admin/new_password"
           " && rmmod think_lmi && modprobe think_lmi")
    three = [("WakeOnLAN=Enable", "WakeOnLAN=Disable"), ("BootMode=Quick", "BootMode=Diagnostics"),
             ("USBPortAccess=Enable", "USBPortAccess=Disable")]
    before = vm.wrong_passwords()
    vm.run(restore(three, "--password-file wrong"), code=77, says=["error 2054", "1 attempt is used up"])
    expect("the firmware has counted one wrong password", vm.wrong_passwords() == before + 1)
    vm.run("echo abc >short")
    vm.run(restore(three, "--password-file short"), code=77, says="too short")
    vm.run(restore(three, "--password-file right"), says=" 3 pending")
    vm.run(restore([("LockedPort=Enable", "LockedPort=Disable")], "--password-file right"), code=1,
           says=["not applied (the firmware keeps it locked", " 3 pending", "1 not applied"])
    expect("and none of three more tries", vm.wrong_passwords() == before + 1)


def bios_without_the_bmc(vm, _):
    vm.run("rmmod ipmi_devintf")
    vm.run(restore([("WakeOnLAN=Enable", "WakeOnLAN=Disable")], "--password-file right"),
           says=["FWOpcodeVersion is not compared", " 1 pending"])
    vm.run("modprobe ipmi_devintf")


def silent_bmc(vm, bmc):
    bmc.process.send_signal(signal.SIGSTOP)
    vm.run(f"{LOCAL} save --mode bmc gone.ini", code=69, says="/dev/ipmi0")
    vm.run(f"(sleep 2; killall -INT saverestore) & {LOCAL} save --mode bmc gone.ini", code=2, says="interrupted")
    bmc.process.send_signal(signal.SIGCONT)
    vm.run(f"{LOCAL} save --mode bmc back.ini")
    bmc.cut_power()
    vm.run(f"{LOCAL} --timeout 3 save --mode bmc gone.ini", code=69, says="initialising")
    vm.run("! ls gone.ini")


BEFORE_A_BOOT = (deaf_setting,)
AFTER_A_BOOT = (deaf_setting_after_a_boot, one_driver_keeps_a_password, bios_without_the_bmc, silent_bmc)
