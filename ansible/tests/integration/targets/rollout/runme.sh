#!/usr/bin/env bash
# A fleet of simulated servers: what a run shows, does, does again, takes back, and leaves alone.
set -eu

config() { sed -n "s/^$1: //p" ../../integration_config.yml; }
hosts=$(config servers)
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
mapfile -t drifted < <(python3 -c "print(*('web-%02d' % at for at in range(1, $hosts + 1)
  if at % 7 == 3 or at % 9 == 3 or at % 11 == 3), sep='\n')")
differing=${#drifted[@]} last=${drifted[-1]}
sums made

play baseline --check --diff
says "$((hosts - differing)) of $hosts servers are as wanted; $differing differ in 3 ways."
says "-BIOS::Main::Quiet Boot  Disabled (0)"
says "+BIOS::Main::Quiet Boot  Enabled (1)"
sums checked
same made checked

# The third server has another password: it and those of its batch are the last that are touched.
touched=$((1 + hosts / 10))
cp "$fleet/servers/web-03.json" "$OUTPUT_DIR"
sed -i 's/example-admin/another/' "$fleet/servers/web-03.json"
echo "== baseline, with a broken server"
! run baseline || fail "it went on"
says "password" >/dev/null
sums broken
for name in made broken; do
  awk -F'[-.]' -v last=$touched '$3 + 0 > last' "$OUTPUT_DIR/$name" >"$OUTPUT_DIR/$name-behind"
done
[ "$(wc -l <"$OUTPUT_DIR/made-behind")" = $((hosts - touched)) ]
same made-behind broken-behind
play report
says "$((touched - 1)) of $touched servers are as wanted; 1 failed."
cp "$OUTPUT_DIR/web-03.json" "$fleet/servers"

# What is done before and after a server, only for one that changes.
for hook in drain undrain; do
  cat >"$OUTPUT_DIR/$hook.yml" <<HOOK
- name: Remember
  ansible.builtin.shell: echo $hook {{ inventory_hostname }} >>$OUTPUT_DIR/hooks
  delegate_to: localhost
HOOK
done
play baseline -e rollout_before="$OUTPUT_DIR/drain.yml" -e rollout_after="$OUTPUT_DIR/undrain.yml" \
  -e "{saverestore_hosts: [web-01, $last]}"
diff "$OUTPUT_DIR/hooks" - <<<"drain $last"$'\n'"undrain $last" || fail "other hooks ran"

play baseline
says "$hosts of $hosts servers are as wanted."
grep -q "^${drifted[-2]} .*changed=1" "$OUTPUT_DIR/said" || fail "a server has not changed"
! grep "^$last .*changed=1" "$OUTPUT_DIR/said" || fail "a server has changed twice"
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
