"""Sets settings of iscsid.conf, and the initiator's name, where they differ."""
from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.opinitctl import Opinitctl


def main():
    module = AnsibleModule(argument_spec={"settings": {"type": "dict", "required": True}}, supports_check_mode=True)
    opinitctl = Opinitctl(module)
    if opinitctl.is_to_come():
        module.exit_json(changed=bool(module.params["settings"]))
    wanted = {key: str(value) for key, value in module.params["settings"].items()}
    present = {entry["key"]: entry["value"] for entry in opinitctl.ask("config")}
    hidden = [key for key in wanted if "password" in key]
    if hidden:
        module.fail_json(msg="opinitctl does not tell a secret, so nobody knows whether it differs: "
                             + ", ".join(hidden))
    changes = {key: value for key, value in wanted.items() if present.get(key) != value}
    if changes and not module.check_mode:
        opinitctl.ask("config", "set", *["%s=%s" % change for change in sorted(changes.items())])
    before = {key: present.get(key) for key in changes}
    module.exit_json(changed=bool(changes), diff={"before": before, "after": changes})


if __name__ == "__main__":
    main()
