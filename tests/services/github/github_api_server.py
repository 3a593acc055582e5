#!/usr/bin/env python3
"""A stand-in for GitHub's GraphQL and REST API and its log blob host, over TLS with a throwaway
certificate.

Usage: github_api_server.py CERT KEY
Prints "port <n>" once listening, then one JSON line per request: method, host, path, headers and
body. The first part of a GraphQL path picks the answer (/ok/graphql, /unauthorized/graphql, ...);
the ok answer depends on the query. REST job logs redirect to /blob/... on the host 127.0.0.1.
"""
import json
import os
import sys
import threading
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "..", "support"))
from stand_in_https import StandInHandler, serve  # noqa: E402

HEAD_OID = "5f3c9a1e2d4b6c8a0e1f2a3b4c5d6e7f8a9b0c1d"


def check_run(name, status, conclusion, database_id, app="github-actions"):
    return {"name": name, "status": status, "conclusion": conclusion, "databaseId": database_id,
            "detailsUrl": "https://github.com/cli/cli/actions/runs/1/job/%d" % database_id,
            "checkSuite": {"app": {"slug": app}}}


def pull_request(number, title, rollup, contexts, merge_state="BLOCKED", draft=False):
    return {
        "id": "PR_kwDOcli%d" % number, "number": number, "title": title, "isDraft": draft,
        "url": "https://github.com/cli/cli/pull/%d" % number, "headRefOid": HEAD_OID,
        "baseRefName": "trunk", "mergeable": "MERGEABLE", "mergeStateStatus": merge_state,
        "reviewDecision": "REVIEW_REQUIRED", "repository": {"nameWithOwner": "cli/cli"},
        "commits": {"nodes": [{"commit": {"statusCheckRollup": {
            "state": rollup, "contexts": {"totalCount": len(contexts), "nodes": contexts}}}}]},
    }


STATUS = {"data": {
    "viewer": {"login": "monalisa", "pullRequests": {"nodes": [
        pull_request(8, "Strawberries are not actually berries", "PENDING", [
            check_run("build", "IN_PROGRESS", None, 101),
            {"context": "ci/legacy", "state": "SUCCESS"},
        ]),
        pull_request(7, "Bananas are berries", "FAILURE", [
            check_run("test", "COMPLETED", "FAILURE", 102),
            check_run("lint", "COMPLETED", "NEUTRAL", 103),
        ]),
        pull_request(6, "Avocado is probably not a berry", "SUCCESS", [
            check_run("build", "COMPLETED", "SUCCESS", 104),
        ], merge_state="CLEAN"),
        {"title": "a node without a number or repository"},
    ]}},
    "reviews": {"nodes": [{
        "number": 9, "title": "Apples are tasty", "url": "https://github.com/cli/cli/pull/9",
        "headRefOid": HEAD_OID, "repository": {"nameWithOwner": "cli/cli"},
        "author": {"login": "hubot", "avatarUrl": "https://avatars.githubusercontent.com/u/1?s=40"},
    }]},
    "changesRequested": {"nodes": []},
}}

COMMITS = {"data": {"repository": {"pullRequest": {"commits": {"nodes": [
    {"commit": {"oid": HEAD_OID, "messageHeadline": "Berries, reconsidered",
                "messageBody": "Strawberries are aggregate fruits.", "committedDate": "2026-09-12T10:00:00Z"}},
]}}}}}

DETAILS = {"data": {"repository": {"pullRequest": {
    "body": "Strawberries are not berries.", "changedFiles": 2, "additions": 10, "deletions": 3,
    "files": {"nodes": [{"path": "fruit/berries.go"}, {"path": "fruit/berries_test.go"}]},
}}}}

MERGED = {"data": {"mergePullRequest": {"pullRequest": {"merged": True}}}}
HEAD_MOVED = {"data": {"mergePullRequest": None}, "errors": [{
    "type": "UNPROCESSABLE", "path": ["mergePullRequest"], "locations": [{"line": 2, "column": 3}],
    "message": "Head branch was modified. Review and try the merge again."}]}


def job_log(lines):
    return b"".join(b"step %05d done\r\n" % i for i in range(1, lines + 1))


BLOBS = {"small": b"first line\r\nsecond line\r\n", "large": job_log(4200)}

lock = threading.Lock()


class Handler(StandInHandler):
    def record(self, body=b""):
        with lock:
            print(json.dumps({"method": self.command, "host": self.headers.get("Host", ""), "path": self.path,
                              "headers": list(self.headers.items()), "body": body.decode("utf-8", "replace")}),
                  flush=True)

    def json(self, value, status=200, extra=()):
        self.answer(status, json.dumps(value).encode(), extra=extra)

    def do_POST(self):
        body = self.rfile.read(int(self.headers.get("Content-Length", "0")))
        self.record(body)
        scenario = self.path.strip("/").split("/")[0]
        reset = str(int(time.time()) + 120)
        if scenario == "ok":
            request = json.loads(body)
            query = request.get("query", "")
            if "mergePullRequest" in query:
                moved = request["variables"].get("head") != HEAD_OID
                self.json(HEAD_MOVED if moved else MERGED)
            elif "messageHeadline" in query:
                self.json(COMMITS)
            elif "changedFiles" in query:
                self.json(DETAILS)
            else:
                self.json(STATUS)
        elif scenario == "ratelimited-429":
            self.json({"message": "slow down"}, 429, [("Retry-After", "30")])
        elif scenario == "ratelimited-403":
            self.json({"message": "API rate limit exceeded for user ID 1."}, 403,
                      [("X-RateLimit-Remaining", "0"), ("X-RateLimit-Reset", reset)])
        elif scenario == "retry-after-403":
            self.json({"message": "You have exceeded a secondary rate limit."}, 403,
                      [("X-RateLimit-Remaining", "12"), ("Retry-After", "45")])
        elif scenario == "ratelimited-200":
            self.json({"errors": [{"type": "RATE_LIMITED", "message": "API rate limit exceeded"}]}, 200,
                      [("X-RateLimit-Remaining", "0"), ("X-RateLimit-Reset", reset)])
        elif scenario == "forbidden":
            self.json({"message": "Resource not accessible by integration"}, 403, [("X-RateLimit-Remaining", "12")])
        elif scenario == "unauthorized":
            self.json({"message": "Bad credentials"}, 401)
        elif scenario == "broken":
            self.answer(500, b"internal error", content_type="text/plain")
        elif scenario == "html":
            self.answer(200, b"<!DOCTYPE html><html><body>Unicorn!</body></html>", content_type="text/html")
        elif scenario == "cutoff":
            self.answer(200, json.dumps(STATUS).encode()[:100], length=5000)
            self.close_connection = True
        elif scenario == "silent":
            time.sleep(30)
        else:
            self.json({"message": "Not Found"}, 404)

    def blob_location(self, name):
        return "https://127.0.0.1:%d/blob/%s" % (self.server.server_address[1], name)

    def do_GET(self):
        self.record()
        parts = self.path.split("?")[0].strip("/").split("/")
        if parts[0] == "repos" and parts[-1] == "logs":
            job = parts[-2]
            if job == "1":
                self.answer(302, extra=[("Location", self.blob_location("small"))])
            elif job == "2":
                self.answer(302, extra=[("Location", self.blob_location("large"))])
            elif job == "3":
                self.answer(302, extra=[("Location", self.blob_location("large-ignores-range"))])
            elif job == "5":
                self.answer(302, extra=[("Location", "http://127.0.0.1/blob/small")])
            elif job == "6":
                self.json({"message": "Bad credentials"}, 401)
            else:
                self.json({"message": "Not Found"}, 404)
        elif parts[0] == "blob":
            self.blob(parts[1])
        else:
            self.json({"message": "Not Found"}, 404)

    def do_HEAD(self):
        self.record()
        parts = self.path.strip("/").split("/")
        if parts[0] == "blob":
            self.blob(parts[1])
        else:
            self.answer(404)

    def blob(self, name):
        honours_range = not name.endswith("-ignores-range")
        data = BLOBS.get(name.replace("-ignores-range", ""))
        if data is None:
            self.answer(404, content_type="text/plain")
            return
        wanted = self.headers.get("Range", "")
        if honours_range and self.command == "GET" and wanted.startswith("bytes="):
            start = int(wanted[len("bytes="):].rstrip("-"))
            self.answer(206, data[start:], content_type="text/plain",
                        extra=[("Content-Range", "bytes %d-%d/%d" % (start, len(data) - 1, len(data)))])
        else:
            self.answer(200, data, content_type="text/plain")


if __name__ == "__main__":
    serve(Handler)
