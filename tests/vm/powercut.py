"""Power cuts: what a disk can hold after one, and whether the files on it are whole.

A machine saves and restores again and again until its process is killed, on a disk whose writes qemu logs
(blklogwrites, in the format of dm-log-writes). A disk after a power cut is then made of that log: all up to
the last flush, and of the writes after it some and not others, as a disk with a cache may keep them.
"""
import json
import os
import random
import re
import shutil
import struct
import subprocess

SECTOR = 512
FLUSH = 1
FILE_SYSTEM_KIB = 16384
MARK = FILE_SYSTEM_KIB * 1024  # where finished steps are marked: behind the file system

# What runs in the machine: in round N the interval of the ARP is N. The mark of a finished step goes to
# the disk without a flush, which would bring other things to the disk, too.
ROUNDS = r"""
mark() { printf '%-4096s' "$1 $n" | dd of=/dev/vda bs=4096 seek=MARK oflag=direct conv=notrunc 2>/dev/null; };
n=0; t="saverestore --target machine:/disk/server.json";
while n=$((n + 1)); do
  sed "s/^ARPInterval=[0-9]*/ARPInterval=$n/" /root/wanted.ini >/tmp/wanted.ini;
  $t restore --mode bmc --yes --backup-dir /disk /tmp/wanted.ini || exit; mark restored;
  $t save --mode bmc --overwrite /disk/saved.ini || exit; mark saved;
  $t save --mode bmc --overwrite /disk/saved.scf || exit;
  rm -f $(ls /disk/0*-restore.ini | head -n -2);
  echo "ROUND $n" >/dev/ttyS1;
done""".replace("\n", " ").replace("MARK", str(MARK // 4096))


def make_file_system(folder):
    """The file `disk` with a file system and some room behind it."""
    shutil.rmtree(folder, ignore_errors=True)
    os.makedirs(folder)
    with open(f"{folder}/disk", "wb") as file:
        file.truncate((FILE_SYSTEM_KIB + 1024) * 1024)
    subprocess.run(["mke2fs", "-q", "-t", "ext4", "-b", "4096", f"{folder}/disk", f"{FILE_SYSTEM_KIB}k"], check=True)


def make_disk(folder):
    """An empty disk, and the options of qemu that log what is written to it."""
    make_file_system(folder)
    shutil.copy(f"{folder}/disk", f"{folder}/disk.empty")
    open(f"{folder}/log", "wb").close()
    return ["-blockdev", "driver=file,node-name=disk,filename=disk",
            "-blockdev", "driver=file,node-name=log,filename=log",
            "-blockdev", "driver=blklogwrites,node-name=logged,file=disk,log=log",
            "-device", "virtio-blk-pci,drive=logged"]


def keep_busy(vm):
    vm.run("cp /root/server.json . && sync && saverestore --target machine:server.json save --mode bmc /root/wanted.ini")
    vm.send(ROUNDS)


def cut_power(vm, after_round):
    vm.wait_for(f"ROUND {after_round}")
    vm.cut_power()


def read_log(path):
    """The writes and flushes, as (flags, offset, data); this file system discards nothing."""
    entries = []
    with open(path, "rb") as log:
        log.seek(SECTOR)  # the count in the first sector is not kept up
        while len(head := log.read(SECTOR)) == SECTOR:
            sector, sectors, flags, _ = struct.unpack_from("<4Q", head)
            data = log.read(sectors * SECTOR)
            if len(data) < sectors * SECTOR or not (sectors or flags):
                break  # the last one was cut off
            entries.append((flags, sector * SECTOR, data))
    return entries


class Cut:
    """The files of a disk whose power went after `count` entries of the log."""

    def __init__(self, folder, entries, count, chance):
        self.folder = f"{folder}/after-cut"
        disk = f"{folder}/disk.cut"
        shutil.copy(f"{folder}/disk.empty", disk)
        flushed = max((i for i in range(count) if entries[i][0] & FLUSH), default=0)
        self.done = {"restored": 0, "saved": 0}
        with open(disk, "r+b") as file:
            for i, (_, offset, data) in enumerate(entries[:count]):
                if offset == MARK and data:
                    step, number = data.decode().split()
                    self.done[step] = int(number)
                elif i < flushed or chance.random() < 0.5:
                    file.seek(offset)
                    file.write(data)
        repaired = subprocess.run(["e2fsck", "-fy", disk], capture_output=True, text=True)
        if repaired.returncode > 1:
            raise AssertionError("the file system is damaged: " + repaired.stdout)
        shutil.rmtree(self.folder, ignore_errors=True)
        os.makedirs(self.folder)
        subprocess.run(["debugfs", "-R", f"rdump / {self.folder}", disk], check=True, capture_output=True)

    def check(self, tool):
        """Holds every file against what had been done when the power went."""
        names = [name for name in os.listdir(self.folder) if re.search(r"^[^.].*\.(ini|scf|json)$", name)]
        for name in names:
            path = f"{self.folder}/{name}"
            if name == "server.json":
                with open(path) as file:
                    nodes = json.load(file)["nodes"]
                values = {node["values"][0] for path, node in nodes.items() if path.endswith("/ARPINTERVAL")}
                self.expect(name, values, self.done["restored"])
                continue
            if name.endswith(".json"):  # a record of the history
                with open(path) as file:
                    json.load(file)
                continue
            checked = subprocess.run([tool, "check", path], capture_output=True, text=True)
            if checked.returncode != 0:
                raise AssertionError(f"{name} is not whole: {checked.stdout}{checked.stderr}")
            if name == "saved.ini":
                with open(path) as file:
                    self.expect(name, set(re.findall(r"^ARPInterval=(\d+)", file.read(), re.M)), self.done["saved"])
        if self.done["saved"] and "saved.ini" not in names:
            raise AssertionError("a save was done, and its file is not there")
        return names

    @staticmethod
    def expect(name, rounds, done):
        if done and rounds not in ({str(done)}, {str(done + 1)}):
            raise AssertionError(f"{name} holds rounds {rounds}, but {done} was done and the next under way")


def check_cuts(folder, tool, cuts):
    entries = read_log(f"{folder}/log")
    ready = next(i for i, entry in enumerate(entries) if entry[1] == MARK and entry[2])
    seed = random.randrange(10000)
    print(f"- {len(entries)} writes and flushes, {cuts} power cuts, seed {seed}")
    chance = random.Random(seed)
    for count in sorted(chance.sample(range(ready, len(entries) + 1), cuts)):
        cut = Cut(folder, entries, count, chance)
        print(f"- after {count}: {cut.done}, {sorted(cut.check(tool))}", flush=True)
