#!/usr/bin/env bash
# A fleet of simulated servers: what a run shows, does, does again, takes back, and leaves alone.
set -eu

hosts=${SAVERESTORE_FLEET:-20}
config() { sed -n "s/^$1: //p" ../../integration_config.yml; }
collection=$(config collection)
machine=$(config machine_file)
fleet=$OUTPUT_DIR/fleet
export ANSIBLE_FORKS=8

run() { # NAME ARGUMENT...: a playbook of the collection; what it prints is kept
  (cd "$fleet" && ansible-playbook -i inventory.yml --vault-password-file "$OUTPUT_DIR/key" \
    "saverestore.firmware.$1" "${@:2}") >"$OUTPUT_DIR/said" 2>&1
}
fail() { cat "$OUTPUT_DIR/said"; echo "FAILED: $*"; exit 1; }
play() { echo "== $*"; run "$@" || fail "$*"; }
says() { grep -F -- "$1" "$OUTPUT_DIR/said" || fail "it does not say: $1"; }
sums() { (cd "$fleet/servers" && sha256sum ./*.json) >"$OUTPUT_DIR/$1"; }
same() { cmp "$OUTPUT_DIR/$1" "$OUTPUT_DIR/$2" || fail "the servers are not what they were"; }

"$collection/examples/simulated-fleet.py" "$machine" "$fleet" "$hosts"
# The password comes out of a vault.
echo key >"$OUTPUT_DIR/key"
sed -i 's/example-admin/not-this-one/' "$fleet/inventory.yml"
mkdir -p "$fleet/group_vars"
ansible-vault encrypt --vault-password-file "$OUTPUT_DIR/key" --output "$fleet/group_vars/all.yml" \
  <<<'saverestore_admin_password: example-admin'
differing=$(python3 -c "print(sum(at % 7 == 3 or at % 9 == 3 or at % 11 == 3 for at in range(1, $hosts + 1)))")
sums made

play baseline --check --diff
says "$((hosts - differing)) of $hosts servers are as wanted; $differing differ in 3 ways."
says "-BIOS::Main::Quiet Boot  Disabled (0)"
says "+BIOS::Main::Quiet Boot  Enabled (1)"
sums checked
same made checked

# The third server does not take a value: it and the one of its batch are the last that are touched.
others() { grep -v web-03 "$OUTPUT_DIR/$1" >"$OUTPUT_DIR/$1-others"; }
cp "$fleet/servers/web-03.json" "$OUTPUT_DIR"
sed -i '/RESTOREPOLICY/s/"values"/"writable": false, "values"/' "$fleet/servers/web-03.json"
for hook in drain undrain; do
  cat >"$OUTPUT_DIR/$hook.yml" <<HOOK
- name: Remember
  ansible.builtin.shell: echo $hook {{ inventory_hostname }} >>$OUTPUT_DIR/hooks
  delegate_to: localhost
HOOK
done
hooks=(-e rollout_before="$OUTPUT_DIR/drain.yml" -e rollout_after="$OUTPUT_DIR/undrain.yml")
echo "== baseline, with a broken server"
! run baseline "${hooks[@]}" || fail "it went on"
says "POWER::PowerRestorePolicy is ON, wanted is RESTORE" >/dev/null
sums broken
others made
others broken
same made-others broken-others
play report
says "2 of 3 servers are as wanted; 1 differs in 1 way."
cp "$OUTPUT_DIR/web-03.json" "$fleet/servers"

play baseline "${hooks[@]}" -e '{"saverestore_hosts": ["web-09", "web-10"]}'
diff "$OUTPUT_DIR/hooks" - <<<$'drain web-03\ndrain web-10\nundrain web-10' || fail "other hooks ran"

play baseline
says "$hosts of $hosts servers are as wanted."
grep -c '^web-.*changed=[1-9]' "$OUTPUT_DIR/said" | grep -qx "$((differing - 1))" || fail "changed others"
! grep -E 'example-admin|not-this-one' "$OUTPUT_DIR/said" || fail "it tells a password"
sums wanted

play baseline
! grep -q '^web-.*changed=[1-9]' "$OUTPUT_DIR/said" || fail "a second run changes something"
sums again
same wanted again

play undo -e saverestore_hosts=web-03
says "web-03 "
play drift
says "$((hosts - 1)) of $hosts servers are as wanted; 1 differs in 1 way."
test -s "$fleet/report.html"
