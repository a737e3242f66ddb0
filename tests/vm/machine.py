"""A server in qemu: UEFI firmware, Debian's kernel, a BMC behind /dev/ipmi0, and a shell to give it commands.

All of it is emulated in software, listens on 127.0.0.1 only, and ends with the `with` that started it.
"""
import os
import shutil
import socket
import struct
import subprocess
import time

FIRMWARE = "/usr/share/OVMF/OVMF_CODE.fd"
EMPTY_VARIABLES = "/usr/share/OVMF/OVMF_VARS.fd"


def expect(what, is_so):
    print(f"- {what}: {is_so}", flush=True)
    if not is_so:
        raise AssertionError(f"not so: {what}")


def free_port(kind):
    with socket.socket(socket.AF_INET, kind) as probe:
        probe.bind(("127.0.0.1", 0))
        return probe.getsockname()[1]


class Process:
    """One that ends with the `with` that holds it, or with this one, however that ends."""
    process = None

    def start(self, command, folder, log, **pipes):
        os.makedirs(folder, exist_ok=True)
        with open(f"{folder}/{log}", "ab") as output:
            pipes = {"stdin": subprocess.DEVNULL, "stdout": output} | pipes
            self.process = subprocess.Popen(["setpriv", "--pdeathsig", "KILL", *command], cwd=folder,
                                            stderr=output, **pipes)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.cut_power()

    def cut_power(self):
        self.process.kill()
        self.process.wait()


class Bmc(Process):
    """ipmi_sim with the commands that a server's BMC has; user "admin", password "secret"."""

    def __init__(self, folder, module):
        os.makedirs(f"{folder}/bmc", exist_ok=True)
        self.lan, self.system = free_port(socket.SOCK_DGRAM), free_port(socket.SOCK_STREAM)
        with open(f"{folder}/lan.conf", "w") as conf:
            conf.write(f'''name "bmc"
loadlib "{module}" "{folder}/bmc"
set_working_mc 0x20
  startlan 1
    addr 127.0.0.1 {self.lan}
    priv_limit admin
    allowed_auths_admin none md2 md5 straight
    guid a123456789abcdefa123456789abcdef
  endlan
  serial 15 127.0.0.1 {self.system} codec VM
  user 1 true "" "test" user 10
  user 2 true "admin" "secret" admin 10
''')
        with open(f"{folder}/bmc.emu", "w") as emu:
            emu.write("mc_setbmc 0x20\nmc_add 0x20 0 no-device-sdrs 0x23 9 8 0x9f 0x1291 0xf02\nmc_enable 0x20\n")
        self.start(["ipmi_sim", "-c", "lan.conf", "-f", "bmc.emu", "-s", "bmc", "-n"], folder, "bmc.log")

    def lets_in(self):
        """Whether an administrator outside gets in over the network."""
        try:
            return bool(self.ask("mc", "info"))
        except subprocess.CalledProcessError:
            return False

    def ask(self, *command):
        """What ipmitool reads over the network, as an administrator outside does."""
        return subprocess.run(["ipmitool", "-I", "lanplus", "-H", "127.0.0.1", "-p", str(self.lan), "-U", "admin",
                               "-P", "secret", "-C", "3", *command], check=True, capture_output=True, text=True).stdout


class Machine(Process):
    """A server with a disk, and if it has a BMC, with systemd and UEFI variables in the file `variables`, too."""

    def __init__(self, folder, bmc=None, disk=("-drive", "if=virtio,format=raw,file=disk")):
        self.folder = folder
        self.variables = f"{folder}/variables"
        command = ["qemu-system-x86_64", "-accel", "tcg", "-machine", "q35", "-m", "512", "-nodefaults",
                   "-no-user-config", "-display", "none", "-kernel", "../vmlinuz", "-initrd", "../initrd",
                   "-append", "console=ttyS0 loglevel=4 panic=-1" + (" systemd.unit=shell.service" if bmc else ""),
                   "-smbios", "type=0,vendor=Firmware in a box,version=VM.1.2.3",
                   "-smbios", "type=11,value=Dell System",  # for its driver
                   "-acpitable", "file=../think-lmi.aml", "-acpitable", "file=../dell-wmi-sysman.aml",
                   "-chardev", "file,id=debug,path=firmware.log", "-device", "isa-debugcon,chardev=debug",
                   "-serial", "file:console.log", "-serial", "stdio", *disk]
        if bmc:
            shutil.copy(EMPTY_VARIABLES, self.variables)
            command += ["-drive", f"if=pflash,format=raw,readonly=on,file={FIRMWARE}",
                        "-drive", "if=pflash,format=raw,file=variables",
                        "-chardev", f"socket,id=ipmi0,host=127.0.0.1,port={bmc.system},reconnect=1",
                        "-device", "ipmi-bmc-extern,id=bmc0,chardev=ipmi0", "-device", "isa-ipmi-kcs,bmc=bmc0"]
        self.start(command, folder, "qemu.log", stdin=subprocess.PIPE, stdout=subprocess.PIPE)
        self.wait_for("READY")

    def wait_for(self, word):
        """The lines up to the one that begins with `word`, and what stands behind that word."""
        lines = []
        for line in self.process.stdout:
            text = line.decode(errors="replace").rstrip("\r\n")
            if text.startswith(word):
                return lines, text.removeprefix(word).strip()
            lines.append(text)
            if text.startswith("EXIT"):
                break
        raise AssertionError(f"no {word} from the machine (see {self.folder}/*.log), but {lines}")

    def send(self, command):
        self.process.stdin.write(command.encode() + b"\n")
        self.process.stdin.flush()

    def run(self, command, code=0, says=()):
        """Runs a command in the machine; checks its exit code, and that its output has `says` in this order."""
        begin = time.monotonic()
        self.send(command)
        lines, exit_code = self.wait_for("EXIT")
        output = "\n".join(lines).strip()
        print(f"# {command}\n{output}\n[exit code {exit_code}, {time.monotonic() - begin:.1f} s]", flush=True)
        order = [output.find(part) for part in ([says] if isinstance(says, str) else says)]
        if int(exit_code) != code or -1 in order or order != sorted(order):
            raise AssertionError(f"{command}: not {code}, or not {says} in this order; see the transcript")
        return output

    def reboot(self):
        self.send("reboot -f")
        self.wait_for("READY")

    def wrong_passwords(self):
        """How many wrong passwords the firmware has met, by the tables in the folder `firmware`."""
        with open(f"{self.folder}/firmware.log") as log:
            return log.read().count("!")

    def variable(self, name):
        """A UEFI variable as the firmware keeps it in its flash: headers of authenticated variables
        (EDK2, VariableFormat.h), of which only those in the state "added" count."""
        with open(self.variables, "rb") as file:
            flash = file.read()
        wanted = name.encode("utf-16-le") + b"\0\0"
        at = flash.find(wanted)
        while at >= 0:
            start_id, state = struct.unpack_from("<HB", flash, at - 60)
            name_size, data_size = struct.unpack_from("<II", flash, at - 24)
            if start_id == 0x55AA and state == 0x3F and name_size == len(wanted):
                return flash[at + name_size:at + name_size + data_size]
            at = flash.find(wanted, at + 1)
        return None
