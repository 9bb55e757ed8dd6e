"""Has a session with each of some targets: discovers what is not recorded, logs in where there is none."""
from ansible.module_utils.basic import AnsibleModule
from ansible.module_utils.opinitctl import Opinitctl

TARGET = {
    "name": {"required": True},
    "portal": {"required": True},
    "persistent": {"type": "bool", "default": False},
    "chap_user": {},
    "chap_secret": {"no_log": True},
    "chap_user_in": {},
    "chap_secret_in": {"no_log": True},
}


def with_port(portal):
    """ADDRESS:PORT, as opinitctl shows a portal; ADDRESS alone means port 3260."""
    has_port = "]:" in portal if portal.startswith("[") else portal.count(":") == 1
    return portal if has_port else portal + ":3260"


def is_recorded(recorded, target):
    portals = recorded.get(target["name"], {}).get("portals", [])
    return with_port(target["portal"]) in [portal["portal"] for portal in portals]


def log_in(opinitctl, target):
    words = ["login", target["name"], target["portal"]]
    secrets = {}
    if target["persistent"]:
        words.append("--persistent")
    for role in ("", "_in"):
        if target["chap_user" + role] is not None:
            option = role.replace("_", "-")
            words += ["--chap-user" + option, target["chap_user" + role]]
            secrets["--chap-secret%s-file" % option] = target["chap_secret" + role] or ""
    opinitctl.ask(*words, secrets=secrets)


def main():
    targets = {"type": "list", "elements": "dict", "required": True, "options": TARGET}
    module = AnsibleModule(argument_spec={"targets": targets}, supports_check_mode=True)
    opinitctl = Opinitctl(module)
    if opinitctl.is_to_come():
        module.exit_json(changed=bool(module.params["targets"]))
    if module.check_mode and not opinitctl.ask("status")["running"]:
        module.exit_json(changed=bool(module.params["targets"]))
    live = {(session["target"], session["portal"]) for session in opinitctl.ask("sessions")}
    recorded = {target["target"]: target for target in opinitctl.ask("targets")}
    missing = []
    for target in module.params["targets"]:
        logged_in = (target["name"], with_port(target["portal"])) in live
        persistent = recorded.get(target["name"], {}).get("persistent", False)
        if not logged_in or (target["persistent"] and not persistent):
            missing.append(target)
    if not module.check_mode:
        # All discoveries before the first login: they reset the records that a login has set.
        unknown = [target for target in missing if not is_recorded(recorded, target)]
        for portal in sorted({target["portal"] for target in unknown}):
            opinitctl.ask("discover", portal)
        for target in missing:
            log_in(opinitctl, target)
    after = ["%s at %s" % (target["name"], with_port(target["portal"])) for target in missing]
    module.exit_json(changed=bool(missing), diff={"before": "", "after": "".join(line + "\n" for line in after)})


if __name__ == "__main__":
    main()
