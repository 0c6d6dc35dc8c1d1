"""A Wine prefix of the tests' own, with what they ask of it: programs, the registry, the agent's folders."""
import pathlib
import re
import subprocess
import sys

ROOT = pathlib.Path(__file__).resolve().parents[2]
sys.path.append(str(ROOT / "tools"))
import contract  # noqa: E402 (it is in a folder of its own)

FACTS = contract.load("")
OURS = re.compile("|".join(["varnel"] + [re.escape(entry.guid) for entry in [FACTS, *FACTS.interfaces, *FACTS.classes]]), re.I)
AGENT = r"HKLM\SOFTWARE\Wow6432Node\Kestrane\QRN\Shared Components\Framework"


class Prefix:
    """Empty at the start: a copy of the base prefix. Programs that were started end with it."""

    def __init__(self, name, environment):
        self.folder = pathlib.Path(environment["WINEPREFIX"]).with_name(name)
        self.environment = dict(environment, WINEPREFIX=str(self.folder))
        for command in (["--remove"], ["cmd", "/c", "exit"]):
            status, output = self.run(*command)
            if status != 0:
                raise RuntimeError(f"{self.folder}: {output}")

    def __enter__(self):
        return self

    def __exit__(self, *_):
        subprocess.run(["/usr/lib/wine/wineserver64", "-k"], env=self.environment)

    @property
    def drive(self):
        return self.folder / "drive_c"

    def communicate(self, *command, text=None):
        """The exit status, standard output and standard error of a program that reads this text."""
        done = subprocess.run([ROOT / "scripts/wine-run", *command], env=self.environment, input=(text or "").encode(),
                              stdout=subprocess.PIPE, stderr=subprocess.PIPE, timeout=120)
        return done.returncode, *(stream.decode().replace("\r", "") for stream in (done.stdout, done.stderr))

    def run(self, *command, folder=ROOT):
        """The exit status, and all that was printed."""
        done = subprocess.run([ROOT / "scripts/wine-run", *command], cwd=folder, env=self.environment, stdin=subprocess.DEVNULL,
                              stdout=subprocess.PIPE, stderr=subprocess.STDOUT, timeout=120)
        return done.returncode, done.stdout.decode(errors="replace").replace("\r", "")

    def set_up_agent(self):
        for name, kind, value in (("AgentMode", "REG_DWORD", "1"), ("Data Path", "REG_SZ", "C:\\Agent\\")):
            self.run("reg", "add", AGENT, "/v", name, "/t", kind, "/d", value, "/f")
        self.run("reg", "add", r"HKLM\SOFTWARE\Wow6432Node\Kestrane\Orbacon\EventParser", "/v", "EventsPath", "/d", "C:\\Server", "/f")
        (self.drive / "Agent/AgentEvents").mkdir(parents=True)

    def events(self):
        """The files that have been saved, the agent's and the server's."""
        return [file for folder in ("Agent/AgentEvents", "Server") for file in (self.drive / folder).glob("*")]

    def classes(self):
        """Every key of HKLM\\Software that speaks of us, in lower case, with its values; the Windows Installer's own
        left out."""
        self.run("reg", "export", r"HKLM\Software", r"C:\export.reg", "/y")
        export = self.drive / "export.reg"
        text = export.read_text(encoding="utf-16").replace("\r", "")
        export.unlink()
        blocks = (block.partition("\n")[::2] for block in text.split("\n\n") if block.startswith("[HKEY"))
        return {key[1:-1].lower(): sorted(values.splitlines()) for key, values in blocks
                if OURS.search(key + values) and not re.search(r"\\Installer\\|\\Uninstall\\", key)}

    def files(self):
        return {file for folder in self.drive.glob("Program Files*") for file in folder.rglob("*")}
