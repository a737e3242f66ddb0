#!/usr/bin/env python3
"""Makes the three example machines beside this file: one JSON file per server.

    python3 examples/machines/generate.py

rewrites them. A machine is described here as trees of settings; every branch of a tree becomes a node
that lists its children, so a child cannot be forgotten in a list. Before anything is written each
machine is checked (see `faults`), and a fault ends the run with all files left as they were.

Names are invented; addresses come from the ranges set aside for documentation.
"""

import json
import pathlib
import sys

# Texts that firmware reports in place of a value for a slot that nobody may use; such a node is read-only.
PLACEHOLDERS = ("RESERVED", "RESERVEDUSERPREV", "N.A.")

# --- Nodes -----------------------------------------------------------------------------------------------


class Node(dict):
    """One node of the machine file, by member name; a plain dict is a branch of named items instead."""


# A child that its menu lists although the firmware has no node for it.
ABSENT = object()

# Node members in the order of the file, each with the value that is left out.
MEMBERS = (("kind", 0), ("values", []), ("options", {}), ("flag", False), ("writable", True),
           ("range", None), ("length", None))


def fact(value):
    return Node(values=[value], writable=False)


def choice(value, *texts, **more):
    """A setting that takes "0", "1", ... with one text for each."""
    return Node(values=[value], options={str(key): label for key, label in enumerate(texts)}, **more)


def on(*names):
    return {name: choice("1", "Disabled", "Enabled") for name in names}


def off(*names):
    return {name: choice("0", "Disabled", "Enabled") for name in names}


def number(value, low, high):
    return Node(values=[value], range=[low, high])


def text(value, longest, shortest=0):
    return Node(values=[value], length=[shortest, longest])


def word(value, table):
    """A BMC setting that takes one of the upper-case words of a table."""
    return fact(value) if value in PLACEHOLDERS else Node(values=[value], options=table)


def put(nodes, path, branch, kind=0):
    """Adds a branch and all below it. A name that begins with "[" is an instance of the branch itself."""
    children = {path + (name if name.startswith("[") else "/" + name): item for name, item in branch.items()}
    nodes[path] = Node(kind=kind, values=list(children))
    for child, item in children.items():
        if isinstance(item, Node):
            nodes[child] = item
        elif item is not ABSENT:
            put(nodes, child, item, kind)


def numbered(items, first=1):
    return {f"[{n}]": item for n, item in enumerate(items, first)}


# --- BMC -------------------------------------------------------------------------------------------------

SWITCH = {"ENABLE": "Enable", "DISABLE": "Disable"}
POWER_POLICY = {"ON": "On", "OFF": "Off", "RESTORE": "Restore"}
LEVELS = {"USER": "User", "OPERATOR": "Operator", "ADMIN": "Admin"}
PRIVILEGES = {**LEVELS, "CALLBACK": "Callback", "NOACCESS": "No Access"}
ACCESS_MODES = {"DISABLED": "Disabled", "ALWAYS": "Always", "SHARED": "Shared"}
IPV6_SOURCES = {"STATIC": "Static", "DHCPV6": "DHCPv6", "AUTO": "Automatic"}
ALERT_TYPES = {"SNMP": "SNMP Trap", "EMAIL": "E-mail"}
ENCRYPTION = {"NONE": "None", "ESMTP_STARTTLS": "STARTTLS", "ESMTP_SMTPS": "SMTPS"}
BAUD_RATES = {rate: f"{rate} baud" for rate in ("9600", "19200", "38400", "57600", "115200")}
# The common ones of IPMI 2.0, table 17-2 (event filter entry).
FILTER_ACTIONS = {"ALERT": "Alert", "POWER_OFF": "Power Off", "RESET": "Reset", "POWER_CYCLE": "Power Cycle"}
SEVERITIES = {"INFORMATION": "Information", "OK": "Return to OK", "CRITICAL": "Critical"}

# E-mail texts: name, longest, alert destination that holds it, example.
MAIL_TEXTS = (("SENDER_MACHINE_NAME", 32, 0, "Lab-Server-1"), ("FROM_EMAIL_ADDRESS", 32, 0, "bmc@lab.example"),
              ("SMTP_USERNAME", 16, 0, "bmc-mail"), ("TO_EMAIL_ADDRESS", 64, 1, "Operators@lab.example"),
              ("EMAIL_SUBJECT", 32, 1, "Server event"),
              ("EMAIL_CONTENT", 64, 1, "Look at the event log; then call the Operator."))
# IPv4 network of LAN channel 1, 2, 3.
NETWORKS = ("192.0.2.", "198.51.100.", "203.0.113.")


def switch(enabled):
    return word("ENABLE" if enabled else "DISABLE", SWITCH)


def address(value):
    return text(value, 39, 2)


def destination(n, index, has_mail):
    """Alert destination 0 or 1 of LAN channel n."""
    return {"TYPE": word(("SNMP", "EMAIL")[index], ALERT_TYPES), "IP": address(f"{NETWORKS[n - 1]}{50 + index}"),
            "MAC": text(f"00-00-5E-00-53-{n}{5 + index}", 17, 17),
            **{name: text(example if has_mail else "", longest)
               for name, longest, holder, example in MAIL_TEXTS if holder == index}}


def lan_channel(n, ipv6, mail_server, extended_mail):
    """`ipv6` is on, off or, for a BMC that knows IPv4 only, None; `mail_server` is None without e-mail."""
    network, mac = NETWORKS[n - 1], f"00-00-5E-00-53-{n}"
    sender, receiver = (destination(n, index, bool(mail_server)) for index in (0, 1))
    sender["MAIL_SERVER_IP"] = address(mail_server or network + "25")
    if extended_mail:
        sender |= {"PORT_NUMBER": number("587" if n == 1 else "25", 1, 65535),
                   "AUTH_ENCRYPT_METHOD": word("ESMTP_STARTTLS" if n == 1 else "NONE", ENCRYPTION)}
    receiver["SMTP_CONFIG_SUPPORTED"] = fact("0" if n == 3 else "1")
    lan = {"COMMUNITYSTRING": text(f"Public-{n}", 16), "GRATUITOUSARP": switch(n == 1), "ARPRESPONSE": switch(n != 2),
           "ARPINTERVAL": number(str(n * 2), 0, 255), "IPTYPE_STATUS": switch(n == 2),
           "IP": address(network + "10"), "SUBNETMASK": address("255.255.255.0"),
           "DEFAULTGATEWAYIP": address(network + "1"), "DEFAULTGATEWAYMAC": text(mac + "1", 17, 17),
           "BACKUPGATEWAYIP": address(network + "2"), "BACKUPGATEWAYMAC": text(mac + "2", 17, 17)}
    if ipv6 is not None:
        lan |= {"IPV6STATUS": switch(ipv6), "IPV6SOURCE": word("STATIC" if ipv6 else "AUTO", IPV6_SOURCES),
                "IPV6PREFIXLENGTH": number("64", 0, 128), "IPV6": address(f"2001:DB8:0:{n}::10"),
                "IPV6_GATEWAYIP": address(f"2001:DB8:0:{n}::1")}
    return lan | {"ALERT/DESTINATION": numbered((sender, receiver), first=0)}


def channel_access(n):
    return {"NONVOLATILE/ACCESS": {
        "PEF_ALERTING": switch(n == 1), "PER_MESSAGE_AUTHENTICATION": switch(n != 2),
        "USER_LEVEL_AUTHENTICATION": switch(n != 3),
        "ACCESS_MODE": word(("ALWAYS", "SHARED", "DISABLED")[n - 1], ACCESS_MODES),
        "PRIVILEGE_LIMIT": word(("ADMIN", "OPERATOR", "USER")[n - 1], LEVELS)}}


def user(name, status, privileges):
    """`privileges` holds one word per channel."""
    return {"NAME": fact(name) if name in PLACEHOLDERS else text(name, 16), "STATUS": word(status, SWITCH),
            "CHANNEL": numbered({
                "PRIVILEGE": word(level, PRIVILEGES),
                "IPMI_AUTHENTICATION": fact(level) if level in PLACEHOLDERS else switch(level != "NOACCESS")}
                for level in privileges)}


def payload_access(privileges, sol_channels):
    """Serial-over-LAN rights of one user; a channel without serial-over-LAN reports "N.A."."""
    return {"CHANNEL": numbered({"PAYLOADACCESS": fact("N.A.") if channel > sol_channels else
                                 fact(level) if level in PLACEHOLDERS else switch(level in ("ADMIN", "OPERATOR"))}
                                for channel, level in enumerate(privileges, 1))}


def event_filter(n, status):
    """The settings beside the status differ from filter to filter: a rewrite of a whole filter must keep them."""
    action, severity = list(FILTER_ACTIONS)[n % len(FILTER_ACTIONS)], list(SEVERITIES)[n % len(SEVERITIES)]
    return {"STATUS": word(status, SWITCH), "NUMBER": fact(str(n)), "ACTION": word(action, FILTER_ACTIONS),
            "SEVERITY": word(severity, SEVERITIES)}


def sol_channel(n, baud_rate):
    sol = {"ENABLEUSER": switch(n != 3), "PRIVILEGE": word(("ADMIN", "USER", "OPERATOR")[n - 1], LEVELS),
           "RETRY/COUNT": number(str(8 - n), 0, 7),
           "RETRY/INTERVAL": number(("25", "50", "7")[n - 1], 0, 255)}  # in units of 10 ms
    return sol | ({"BAUDRATESERIAL": word("38400" if n == 1 else "115200", BAUD_RATES)} if baud_rate else {})


def bmc(info, ipv6, users, filters, boot, disks=(), sol_channels=3, mail_server=None, extended_mail=True,
        fail_over=True, baud_rate=False, power="RESTORE"):
    """`ipv6` has one entry per LAN channel; `disks` stand under boot entry 2."""
    nodes, channels = {}, range(1, len(ipv6) + 1)
    put(nodes, "/BMC/INFO", {name: fact(value) for name, value in info.items()})
    put(nodes, "/BMC/CHASSIS/STATUS/POWERSTATE", {"RESTOREPOLICY": word(power, POWER_POLICY)})
    put(nodes, "/BMC/USER", numbered(user(*row) for row in users))
    put(nodes, "/BMC/PEF", {"STATUS": switch(True),
                            "FILTER": numbered(event_filter(*row) for row in enumerate(filters, 1))})
    put(nodes, "/BMC/LAN", numbered(
        lan_channel(n, ipv6[n - 1], mail_server if n == 1 else None, extended_mail) for n in channels))
    # Shared by all channels, so not in the list of them: that list is counted.
    nodes["/BMC/LAN/DHCP_HOSTNAME"] = text(f"Bmc-{info['PRODUCT'].capitalize()}-01", 64)
    if fail_over:
        nodes["/BMC/LAN/FAILOVERMODE"] = switch(False)
    put(nodes, "/BMC/CHANNEL", numbered(map(channel_access, channels)))
    put(nodes, "/BMC/SOL", {"CHANNEL": numbered(sol_channel(n, baud_rate) for n in channels if n <= sol_channels),
                            "USER": numbered(payload_access(row[2], sol_channels) for row in users)})
    put(nodes, "/BMC/BOOTORDER", numbered(text(entry, 64) for entry in boot))
    if disks:
        put(nodes, "/BMC/BOOTORDER[2]/HDD", numbered(text(disk, 64) for disk in disks))
    return nodes


def bios(menus, platform_id, version, uefi231, boot):
    nodes = {"/BIOS/PlatformID": fact(platform_id), "/BIOS/UEFI231Aware": fact(uefi231),
             "/SMBIOS/Type0/BIOSVersion": fact(version)}
    put(nodes, "/BIOS", menus, kind=1)
    put(nodes, "/BIOS/BootOrder", numbered(text(entry, 64) for entry in boot))
    return nodes


# --- BIOS setup menus ------------------------------------------------------------------------------------

AUTO_OFF_ON = ("Auto", "Disabled", "Enabled")
LINK_SPEEDS = {"Auto": "Auto", "Gen1": "2.5 GT/s", "Gen2": "5 GT/s", "Gen3": "8 GT/s", "Gen4": "16 GT/s"}


def serial_port(address, irq, suffix=""):
    return {"Address" + suffix: choice(address, "3F8h", "2F8h", "3E8h", "2E8h"),
            "IRQ" + suffix: Node(values=[irq], options={"3": "IRQ 3", "4": "IRQ 4"})}


def console_redirection(flow="0"):
    return {"Console Redirection": choice("1", "Disabled", "Serial Port A", "Serial Port B"),
            "Flow Control": choice(flow, "None", "RTS/CTS"),
            "Baud Rate": Node(values=["115200"], options=BAUD_RATES),
            "Terminal Type": choice("3", "PC-ANSI", "VT100", "VT100+", "VT-UTF8"), **off("Legacy OS Redirection")}


def slots(first, *speeds):
    """An expansion slot has an option ROM switch and a link speed."""
    branch = {}
    for slot, speed in enumerate(speeds, first):
        branch |= {f"Slot {slot} Option ROM": choice("1", "Disabled", "Enabled"),
                   f"Slot {slot} [x8] Link Speed": Node(values=[speed], options=LINK_SPEEDS)}
    return branch


def boot_options(*values):
    return {f"Boot Option #{n}": choice(value, "Disk A", "Internal Shell", "Network")
            for n, value in enumerate(values, 1)}


def security(password):
    return {"AdminPw": text(password, 14), "UserPw": text("", 14), **on("Front Panel Lockout"),
            "Administrator Password Status": fact("Installed" if password else "Not Installed")}


# Texts that an INI line must carry through a save and a restore unharmed.
LABELS = {name: text(value, 64) for name, value in {
    "Asset Tag": "AT 0042 17",
    "Rack Position": "  row 7, unit 21 ",
    "Door Note": "left door; keep closed",
    "Sticker Remark": "; as on the sticker",
    "Cooling Text": "mode=quiet",
    "Firmware Folder": "C:\\x86",
    "Backup Share": "\\\\files.example\\bmc\\",
    "Two Columns": "left\tright",
    "Label=Value Text": "plain",
    "Site": "Köln – Süd 3",
    "Nickname": '"Old Reliable"',
    "Service Contact": "",
}.items()} | {"Boot Banner": Node(values=["", "Welcome"], length=[0, 64]), "Spare Label": Node(length=[0, 64])}

CALDRA_MENUS = {
    "Main": {
        "BIOS Version": fact("C41200.04.17.0031"), "Build Date": fact("2025-06-30"), "Total Memory": fact("96 GB"),
        "Effective Memory": fact("95 GB"), **on("Quiet Boot"), **off("POST Error Pause"),
        "POST Error Pause Delay": number("30", 0, 300),
        "SystemDate": text("2025-11-24", 10, 10), "SystemTime": text("09:30:00", 8, 8),
        "System Labels": LABELS},
    "Advanced": {
        "Altitude": choice("1", "Auto", "≤ 300 m", "301 m – 900 m", "> 900 m"), **on("Fast Video Output"),
        "Serial Port Configuration": {
            **on("Serial A Enable"), **serial_port("0", "4"), **off("Serial B Enable"), **serial_port("1", "3", "B")},
        "Integrated I/O": {
            **on("I/O Virtualization", "Interrupt Remapping"), **off("Pass Through DMA"),
            "Port Splitting": {f"Port {port} Split": choice("0", "x16", "x8 x8", "x4 x4 x4 x4") for port in "ABCD"}},
        "Platform Management": {
            **on("Hardware Watchdog"), "Watchdog Action": choice("1", "No Action", "Reset", "Power Off"),
            # Twelve entries, so that "10" and "11" sort before "2".
            "Watchdog Timeout": choice("11", *(f"{minutes} minutes" for minutes in range(5, 65, 5))),
            "Thermal Zones": {f"Zone {zone}": {
                "Set Point": number(point, 20, 60), "Sensor Offset": number(offset, -10, 10),
                **on("Fan Boost", "Alarm")} for zone, point, offset in (("Front", "27", "-4"), ("Rear", "41", "3"))}},
        "NIC Configuration": {
            **on("Wake on LAN"), **{f"NIC Port {port}": choice(state, "Disabled", "Enabled")
                                    for port, state in enumerate("1101", 1)},
            "NIC 1 MAC Address": fact("00-00-5E-00-53-A1"), "NIC 2 MAC Address": fact("00-00-5E-00-53-A2")}},
    "Processor Configuration": {
        "Active Cores": choice("0", "All", *(str(cores) for cores in range(1, 16))),
        **on("Logical Processors", "Virtualization", "Execute Disable", "Hardware Prefetcher"),
        **off("Adjacent Line Prefetch", "Streaming Prefetch", "Extended Interrupt Mode"),
        **{f"Socket {socket}": {
            "Installed Part": fact("16 cores, 2.4 GHz"), "Core Revision": fact(f"B{socket}"),
            "Power Limit": number(watts, 65, 205), "Clock Boost": choice("1", *AUTO_OFF_ON)}
           for socket, watts in ((1, "150"), (2, "135"))}},
    "Memory Configuration": {
        "Memory Speed": choice("10", *("Auto" if step == 0 else f"{1866 + 266 * step} MT/s" for step in range(12))),
        **on("Memory Test", "Attempt Fast Start"), "Refresh Rate": choice("0", "1x", "2x", "4x"),
        "Memory RAS and Performance Configuration": {
            "Mode": choice("0", "Independent", "Mirror", "Rank Sparing"), **on("Patrol Scrub", "Demand Scrub"),
            "Error Threshold": number("500", 0, 32767), "Interleave": choice("2", "None", "2-way", "4-way")},
        "Module Information": {f"Module {bank}{slot}": fact("16 GB" if slot == 1 else "Not Installed")
                               for bank in "ABCDEF" for slot in (1, 2)}},
    "Mass Storage Controller Configuration": {
        "Controller Mode": choice("1", "Disabled", "AHCI", "RAID"), **on("Link Power Management"),
        "Staggered Spin-up Delay": number("2", 0, 60),
        "SATA Ports": {f"Port {port}": choice("0" if port > 5 else "1", "Disabled", "Enabled") for port in range(8)}},
    "PCI Configuration": {
        **on("Memory Mapped I/O above 4 GB"), "Memory Mapped I/O Size": choice("2", "1 GB", "2 GB", "Auto"),
        **off("Single Root Virtualization"), "Maximum Payload": choice("0", "Auto", "128 bytes", "256 bytes"),
        # Sub-menus with sub-menus of their own: a walk that takes the last one first shows its order here.
        **{f"Riser {riser}": {
            **on("Riser Power"), "Riser Type": fact(f"Two-slot riser {riser}"),
            "Upper Slots": slots(first, "Auto"), "Lower Slots": slots(first + 1, "Gen3")}
           for riser, first in (("A", 1), ("B", 3), ("C", 5))}},
    "USB Configuration": {
        **on("USB Controller", "Legacy Keyboard", "Front Ports", "Rear Ports"), **off("Make Device Non-Bootable"),
        "Device Reset Timeout": choice("1", "10 s", "20 s", "30 s", "40 s"),
        "Detected Devices": fact("1 keyboard, 1 mouse")},
    "System Acoustic and Performance Configuration": {
        "Fan Profile": choice("1", "Performance", "Acoustic"), "Fan Offset": number("0", 0, 100),
        "Throttling Mode": choice("0", "Auto", "Closed Loop", "Open Loop"), **on("Air Flow Sensing")},
    "Power & Performance": {
        "Policy": choice("1", "Performance", "Balanced Performance", "Balanced Power", "Power"),
        "Workload": choice("0", "Balanced", "I/O Sensitive"),
        "Performance States": {**on("Frequency Scaling", "Clock Boost", "Energy Efficient Boost"),
                               "Coordination": choice("0", "Hardware", "Software")},
        "Idle States": {"Deepest State": choice("2", "C0/C1", "C2", "C6"), **on("Enhanced Halt"),
                        **off("Autonomous Idle")}},
    "Security": {
        **security("not shown"), **off("Power On Password"),
        "TCG Configuration": {
            "TPM State": fact("Enabled and Activated"), "TPM Version": fact("2.0"), **on("TPM Device"),
            # A request that holds for the next start only, so it belongs to no configuration.
            "Pending Operation": choice("0", "None", "Clear", flag=True)},
        "Secure Boot Configuration": {**on("Secure Boot"), "Secure Boot Mode": choice("0", "Standard", "Custom"),
                                      "Platform Key": fact("Installed")}},
    "Server Management": {
        **on("Assert NMI on SERR", "Assert NMI on PERR", "Reset on Fatal Error", "Clear System Log on Full"),
        **off("Resume on AC Power Loss Delay"), "Power Restore Delay": number("25", 25, 300),
        "Console Redirection": console_redirection(),
        "System Information": {"Board Part Number": fact("C4120CAL-0100"), "Board Serial Number": fact("EX0000000001"),
                               "System Part Number": fact("CAL-SYS-01"), "BMC Firmware Revision": fact("1.42.0007")},
        "BMC LAN Configuration": {
            "IP Source": choice("0", "Static", "Dynamic"), "IP Address": text("192.0.2.10", 15),
            "Subnet Mask": text("255.255.255.0", 15), "Gateway IP": text("192.0.2.1", 15),
            "User Configuration": {"User ID": choice("1", "anonymous", "sysadmin", "operator"),
                                   "Privilege": choice("3", "Callback", "User", "Operator", "Administrator")}}},
    "Boot Options": {
        "System Boot Timeout": number("5", 0, 65535), "Boot Mode": choice("1", "Legacy", "UEFI"),
        **boot_options("0", "1"), **off("Boot Option Retry"),
        "Advanced Boot Options": {**on("Network Boot IPv4"), **off("Network Boot IPv6"),
                                  "Network Boot Retries": number("3", 0, 50)},
        "Boot Options": boot_options("2", "0"),
        "Add EFI Boot Option": {"Add Boot Option": text("", 75), "Select File system": choice("0", "None", "Disk A"),
                                "Boot Option File Path": text("\\EFI\\BOOT\\BOOTX64.EFI", 150)},
        "Delete EFI Boot Option": {"Delete Boot Option": choice("0", "None", "Internal Shell")}},
    "Exit": {"Save Changes and Exit": choice("0", "No", "Yes"), "Load Default Values": choice("0", "No", "Yes"),
             "Discard Changes": choice("0", "No", "Yes", flag=True)},
}

OSKENT_MENUS = {
    "Main": {"BIOS Version": fact("S11OSK.02.09.0114"), "Total Memory": fact("8 GB"), **on("Quiet Boot"),
             **off("POST Error Pause"), "SystemDate": text("11/24/2025", 10, 10), "SystemTime": text("09:30:00", 8, 8)},
    # Neither saved nor restored here: the firmware does not call itself UEFI 2.3.1 aware.
    "Advanced": {**on("Legacy Device Support"), "Latency Timer": number("64", 32, 248)},
    "Processor Configuration": {
        "Processor Type": fact("4 cores, 2.0 GHz"), **on("Virtualization", "Execute Disable", "Hardware Prefetcher"),
        **off("Adjacent Line Prefetch"), "Active Cores": choice("0", "All", "1", "2", "3")},
    "Memory Configuration": {
        "Memory Mode": choice("0", "Performance", "Mirror", "Sparing"), **on("Memory Scrub"),
        "Module A1": fact("4 GB"), "Module B1": fact("4 GB")},
    "Mass Storage Controller Configuration": {
        "Controller Mode": choice("0", "IDE", "AHCI", "RAID"), **{
            f"SATA Port {port}": choice("1" if port < 2 else "0", "Disabled", "Enabled") for port in range(6)}},
    "Serial Port Configuration": {
        **on("Serial A Enable"), **serial_port("0", "4"), **on("Serial B Enable"), **serial_port("1", "3", "B")},
    "USB Configuration": {**on("USB Controller", "Legacy Keyboard"), **off("Port 60/64 Emulation")},
    "Power & Performance": {"Policy": choice("0", "Performance", "Balanced")},
    "Security": security(""),
    "Server Management": {**on("Assert NMI on SERR"), "Asset Tag": text("OSK 11", 32),
                          "Console Redirection": console_redirection(flow="1")},
    "Boot Options": {"System Boot Timeout": number("10", 0, 65535), **boot_options("0", "2")},
}

HEMLIT_MENUS = {
    "Main": {"BIOS Version": fact("R88LQE.01.03.0052"), "Total Memory": fact("64 GB"), **on("Quiet Boot"),
             "SystemDate": text("2025-11-24", 10, 10), "SystemTime": text("09:30:00", 8, 8)},
    "Advanced": {
        # One menu per port; this firmware lists the second port first.
        "Serial Port Configuration": {f"Port {port}": {
            **on(f"Serial {port} Enable"), **serial_port(address, irq)}
            for port, address, irq in (("B", "1", "3"), ("A", "0", "4"))}},
    "Hardware Monitor": {"Inlet Temperature": fact("24"), **on("Fan Failure Alarm")},
    "PCI Subsystem Settings": {
        **on("Above 4G Decoding"), **off("SR-IOV Support"), "Latency Timer": number("32", 32, 248),
        **slots(1, "Auto", "Gen2"), "Slot 9 Option ROM": ABSENT},
    "Power Management Control": {"Power Technology": choice("2", "Disabled", "Energy Efficient", "Custom"),
                                 **on("Frequency Scaling", "Clock Boost")},
    "CPU 0 - C State Control": {"Package Limit": choice("2", "C0", "C2", "C6"), **on("C3 Report", "C6 Report")},
    "Network Controllers": {f"Controller {n}": choice("1", "Disabled", "Enabled") for n in (1, 2)},
    "MSQ IIO Configuration": {"MSQ Socket 0 Items": {
        "PCIe Port 2": {"Link Speed": Node(values=["Gen3"], options=LINK_SPEEDS), **on("Port 2 Enable")},
        "PCIe Port 3": {"Link Speed": Node(values=["Auto"], options=LINK_SPEEDS), **off("Port 3 Enable")}},
        **off("Isochronous Transfer")},
    "IOAT Configuration": {**on("IOAT Enable"), "Sck0 IOAT Config": on("DMA Channel 0", "DMA Channel 1")},
    "Memory Thermal": {"Throttling": choice("1", "Disabled", "Closed Loop"), "Trip Point": number("85", 50, 100)},
    "Page Policy": {"Policy": choice("1", "Open", "Adaptive", "Closed"), "Idle Limit": number("16", 0, 255)},
    "QPI Configuration": {"Link Speed": choice("0", "Fast", "Slow"), **on("Isolated Snoop"), "Link State": fact("Up")},
    "PCH-IO Configuration": {**on("High Precision Timer"), "Restore AC Power": choice("2", "Off", "On", "Last State")},
    "PCI Express Configuration": {f"PCI Express Root Port {port}": {
        **on("Root Port"), "ASPM": choice("0", "Disabled", "L0s", "L1", "L0s and L1")} for port in (1, 5)},
    # The firmware lists the USB part of its ICH menu at the top level, beside the plain USB menu.
    "USB Configuration": {**on("Legacy USB", "Hand-off"), "Reset Timeout": number("20", 10, 40)},
    "ICH/USB Configuration": {**on("EHCI 1", "EHCI 2"), **off("Overcurrent Reporting")},
    "ICH": {"Controller Stepping": fact("C2"), **on("Spread Spectrum")},
    "Platform Thermal Configuration": {"Shutdown Temperature": number("95", 60, 110), **on("Automatic Report")},
    "Serial Port Console Redirection": {"Port": fact("COM1"), "Console Redirection Settings": console_redirection()},
    "ACPI Settings": {**on("ACPI Auto Configuration"), "Sleep State": choice("1", "Disabled", "S1", "S3")},
    "NM Configuration": {"Power Budget": number("450", 0, 32767), **on("Policy Boot Mode")},
    "Server ME Configuration": {"Firmware Version": fact("2.1.7"), "State": choice("0", "Normal", "Recovery")},
    "Security": security(""),
    "Boot Options": {"Number Lock": choice("1", "Off", "On"), **boot_options("0", "2")},
    "Save & Exit": {"Load Default Values": choice("0", "No", "Yes")},
}

# --- Machines --------------------------------------------------------------------------------------------

MACHINES = {
    "caldra-server.json": {"platform": "CALDRA_PLATFORM", "adminPassword": "example-admin", "nodes": bmc(
        info={"PRODUCT": "CALDRA", "VERSION": "1.42.0007", "BOOT_AREA_VERSION": "0.18"},
        ipv6=(True, False, False), mail_server="192.0.2.26", extended_mail=False,
        users=(("anonymous", "DISABLE", ("NOACCESS",) * 4), ("sysadmin", "ENABLE", ("ADMIN",) * 4),
               ("Mira.Holt", "ENABLE", ("OPERATOR", "USER", "CALLBACK", "NOACCESS")),
               ("spare", "RESERVED", ("NOACCESS",) * 4), ("RESERVED", "RESERVED", ("RESERVED",) * 4)),
        filters=[{4: "RESERVED", 7: "RESERVED", 10: "RESERVEDUSERPREV"}.get(n, "ENABLE" if n % 5 else "DISABLE")
                 for n in range(1, 21)],
        boot=("REMOVABLE MEDIA", "HARD DISK", "OPTICAL DRIVE", "NETWORK", "INTERNAL SHELL"),
        disks=("Disk A 480 GB (Port 0)", "Disk B 480 GB (Port 1)", "Disk C 4 TB (Port 4)"),
    ) | bios(CALDRA_MENUS, "C4120CAL", "C41200.04.17.0031", "True", boot=(
        "Internal Shell", "Disk A 480 GB", "Network Port 1 IPv4", "Network Port 2 IPv4", "USB Stick"))},
    "oskent-server.json": {"platform": "OSKENT_PLATFORM", "nodes": bmc(
        info={"PRODUCT": "OSKENT", "OP_AREA_VERSION": "0.61", "PIA_AREA_VERSION": "0.09"},
        ipv6=(None, None, None), sol_channels=2, fail_over=False, baud_rate=True, power="OFF",
        users=(("anonymous", "ENABLE", ("CALLBACK", "NOACCESS", "NOACCESS")),
               ("root-example", "ENABLE", ("ADMIN", "ADMIN", "OPERATOR")),
               *((f"User{n}", "DISABLE", ("USER", "OPERATOR", "NOACCESS")) for n in (3, 4, 5))),
        filters=["ENABLE"] * 10 + ["DISABLE"], boot=("OPTICAL DRIVE", "HARD DISK", "NETWORK"),
    ) | bios(OSKENT_MENUS, "S1100OSK", "S11OSK.02.09.0114", "False", boot=(
        "Optical Drive", "Disk A", "Network Port 1"))},
    "r8810lqe-server.json": {"platform": "HEMLIT_PLATFORM", "nodes": bmc(
        info={"PRODUCT": "HEMLIT", "VERSION": "3.05.1180"}, ipv6=(False, True), mail_server="2001:db8:0:1::25",
        sol_channels=2, power="ON",
        users=(("anonymous", "DISABLE", ("NOACCESS", "NOACCESS")), ("Keeper", "ENABLE", ("ADMIN", "OPERATOR")),
               ("Watcher", "ENABLE", ("USER", "CALLBACK")), ("Night.Shift", "ENABLE", ("OPERATOR", "USER")),
               ("guest", "DISABLE", ("CALLBACK", "NOACCESS"))),
        filters=["ENABLE", "DISABLE"] * 6, boot=("NETWORK", "HARD DISK", "OPTICAL DRIVE", "INTERNAL SHELL"),
        disks=("Disk A 960 GB", "Disk B 960 GB"),
    ) | bios(HEMLIT_MENUS, "R8810LQE", "R88LQE.01.03.0052", "True", boot=(
        "Disk A 960 GB", "Disk B 960 GB", "Network Port 1", "Internal Shell"))},
}

# --- Checking and writing --------------------------------------------------------------------------------

# Listed by its menu, but not there.
KNOWN_ABSENT = {"/BIOS/PCI Subsystem Settings/Slot 9 Option ROM"}
# BIOS nodes that are no part of the menu tree.
OUTSIDE_MENUS = {"/BIOS", "/BIOS/BootOrder", "/BIOS/PlatformID", "/BIOS/UEFI231Aware"}
# Case survives a restore only in these BMC texts; everything else comes back in upper case.
KEEPS_CASE = ("/NAME", "HOSTNAME", "COMMUNITYSTRING", "/ALERT/DESTINATION", "/INFO/", "/BOOTORDER")


def is_interior(nodes, node):
    return node.get("kind") == 1 or any(value in nodes for value in node.get("values", []))


def setting_faults(path, node):
    value, options = next(iter(node.get("values", [])), ""), node.get("options", {})
    if options and value not in options:
        yield f"{path}: {value!r} is not among its options"
    if "range" in node and not node["range"][0] <= int(value) <= node["range"][1]:
        yield f"{path}: {value} is out of range"
    if "length" in node and not node["length"][0] <= len(value.encode()) <= node["length"][1]:
        yield f"{path}: {value!r} does not have a permitted length"
    if path.startswith("/BMC/") and not any(part in path for part in KEEPS_CASE):
        yield from (f"{path}: {word!r} is not upper case" for word in (value, *options) if word != word.upper())


def faults(machine):
    """What is wrong with a machine, one text per fault."""
    nodes = machine["nodes"]
    listed = [child for node in nodes.values() if is_interior(nodes, node) for child in node["values"]]
    yield from (f"{path}: listed more than once" for path in sorted(set(listed)) if listed.count(path) > 1)
    yield from (f"{path}: listed, but there is no such node"
                for path in sorted(set(listed) - set(nodes) - KNOWN_ABSENT))
    yield from (f"{path}: no menu lists it" for path in sorted(set(nodes) - set(listed) - OUTSIDE_MENUS)
                if path.startswith("/BIOS"))
    if len(machine.get("adminPassword", "")) > 14:
        yield "adminPassword: longer than 14 characters"
    for path, node in nodes.items():
        if not is_interior(nodes, node):
            yield from setting_faults(path, node)


def dump(value):
    return json.dumps(value, ensure_ascii=False)


def in_byte_order(table):
    return sorted(table.items(), key=lambda item: item[0].encode())


def render(machine):
    """The canonical text: sorted, one node per line, members with their default value left out."""
    lines = []
    for path, node in in_byte_order(machine["nodes"]):
        members = {name: node[name] for name, default in MEMBERS if node.get(name, default) != default}
        if "options" in members:
            members["options"] = dict(in_byte_order(members["options"]))
        lines.append(f"    {dump(path)}: {dump(members)}")
    head = {"format": "saverestore-machine/1", **{key: machine[key] for key in machine if key != "nodes"}}
    return "\n".join(["{", *(f"  {dump(key)}: {dump(value)}," for key, value in head.items()), '  "nodes": {',
                      ",\n".join(lines), "  }", "}", ""])


def main():
    wrong = [f"{name}: {fault}" for name, machine in MACHINES.items() for fault in faults(machine)]
    if wrong:
        sys.exit("\n".join(["nothing written:", *wrong]))
    for name, machine in MACHINES.items():
        pathlib.Path(__file__).with_name(name).write_text(render(machine), encoding="utf-8", newline="\n")


if __name__ == "__main__":
    main()
