-- The image's signature database: what a release knows of attack signatures, and the other data that lie in the same
-- file: default replacement pages, the predefined global white list and the limits of the machine.
--
-- An identifier has nine digits: two of the main class, three of the sub-class, four of the signature. A main class ends
-- in seven zeros ("080000000"), a sub-class in four ("080080000"), a signature in its number ("080080005").

begin;

create table class_map (
    main_class_id text not null,
    sub_class_id  text not null,
    discard       integer not null -- 1: the class is only known so that old names of it can be read
);

create table signature_rule (
    signature_id  text not null primary key,
    FP_mitigation integer not null, -- not 0: the signature has a second look against false positives
    score         integer not null  -- what a match adds to a client's score; 8341: the score can be overridden
) without rowid;

create table global_white_list (name text not null); -- at most 32 names, of at most 7 characters
create table replacement_page (name text not null, code integer not null, text text not null);
create table platform_limit (name text not null primary key, value integer not null);

-- Main classes, how many sub-classes each has, and whether it is out of use.
create temporary table main_class (number integer, sub_classes integer, discard integer);
insert into main_class values
    ( 1, 10, 0), -- script injection
    ( 2,  8, 0), -- script injection, strict
    ( 3, 12, 0), -- query injection
    ( 4, 10, 0), -- query injection, strict
    ( 5, 12, 0), -- injection into commands, directories, mails and includes
    ( 6, 14, 0), -- the same, strict
    ( 7,  6, 0), -- inclusion of local and remote files
    ( 8, 24, 0), -- what answers give away
    ( 9, 20, 0), -- known holes of products
    (10,  3, 0), -- card and account numbers in answers
    (11,  6, 0), -- bad robots
    (12,  5, 0), -- uploads of web shells
    (13,  5, 0), -- template injection
    (14,  4, 1), -- applets, out of use
    (15,  5, 0), -- object deserialization
    (16,  4, 0), -- expression languages
    (17,  6, 0), -- content management systems
    (18,  4, 0), -- mail servers with a web front
    (19,  4, 0), -- document portals
    (20,  4, 0), -- request smuggling
    (21,  3, 0), -- path tricks
    (22,  3, 0), -- server-side requests
    (23,  3, 0), -- document type definitions
    (24,  4, 0), -- weak session identifiers
    (25,  3, 0), -- administrative pages
    (26,  3, 0), -- backup and source files
    (27,  4, 1), -- plug-ins of old browsers, out of use
    (28,  4, 0), -- scanners
    (29,  3, 0), -- mining scripts
    (30,  4, 0); -- application interfaces

-- Sub-classes that went out of use in a class that stayed.
create temporary table gone_sub_class (sub_class_id text);
insert into gone_sub_class values
    ('020070000'), ('050110000'), ('060130000'), ('080210000'), ('090030000'), ('090170000'), ('110060000'), ('170050000');

with recursive
    sub_class(main, number, last, discard) as (
        select number, 1, sub_classes, discard from main_class
        union all
        select main, number + 1, last, discard from sub_class where number < last)
insert into class_map
    select printf('%02d0000000', main), printf('%02d%03d0000', main, number),
           discard or printf('%02d%03d0000', main, number) in gone_sub_class
    from sub_class order by main, number;

-- Eleven to 23 signatures for each sub-class in use. Here and there a number is free: a signature that was withdrawn.
with recursive
    signature(sub_class, number, last) as (
        select sub_class_id / 10000, 1, 11 + (sub_class_id / 10000 * 7) % 13 from class_map where discard = 0
        union all
        select sub_class, number + 1, last from signature where number < last)
insert into signature_rule
    select printf('%05d%04d', sub_class, number),
           (sub_class + number) % 4 = 0,
           case when (sub_class * 3 + number) % 5 = 0 then 8341 else 1 + (sub_class + number * 7) % 5 end
    from signature where (sub_class * 31 + number) % 41 <> 0 order by 1;

create index class_by_sub on class_map (sub_class_id, discard);
create index class_in_use on class_map (discard, main_class_id);

insert into platform_limit values ('max_policy_session', 12000);

insert into global_white_list values
    ('favicon'), ('robots'), ('sitemap'), ('touch'), ('tile'), ('wpad'), ('humans'), ('carddav'),
    ('caldav'), ('pki'), ('crl'), ('ocsp'), ('cname'), ('utm'), ('locale'), ('gclid'),
    ('lang'), ('coupon'), ('theme'), ('consent'), ('sid'), ('tz'), ('cart'), ('ab-test');

-- The pages that an appliance serves which nobody has customized. An upgrade drops a stored page that is the same text.
insert into replacement_page values
('url-block', 403, '<html><head><title>Request Blocked</title></head><body>
<h1>Request Blocked</h1>
<p>The page that you asked for cannot be shown. If you think that this is wrong, tell the site''s owner and name the
event below.</p>
<p>URL: %%URL%%<br>Your address: %%SOURCE_IP%%<br>Event: %%EVENT_ID%%<br>Message: %%MSG_ID%%</p>
</body></html>'),
('server-inaccessible', 503, '<html><head><title>Server Unavailable</title></head><body>
<h1>Server Unavailable</h1>
<p>The server behind this address does not answer at the moment. Try again in a few minutes.</p>
</body></html>'),
('login', 200, '<html><head><title>Login</title></head><body>
<form method="post" action="%%LOGIN_POST_URL%%">
<h1>Log in</h1><h2>%%REPLY_TAG%%</h2>
<table><tr><td>User name</td><td><input type="text" name="sph_username" autocomplete="off" /></td></tr>
<tr><td>Password</td><td><input type="password" name="sph_password" autocomplete="off" /></td></tr></table>
<div class="fel" style="display: %%DISPLAY_OR_HIDE%%"><input type="checkbox" name="sph_cpw" /> Change my password</div>
<input type="submit" value="Log in" />
</form></body></html>'),
('token', 200, '<html><head><title>Token</title></head><body>
<form method="post" action="%%TOKEN_POST_URL%%">
<h1>Second step</h1><h2>%%REPLY_TAG%%</h2>
<p>Enter the code from your token to continue</p>
<input type="text" name="sph_token" autocomplete="off" /><input type="submit" value="Continue" />
</form></body></html>'),
('rsa-login', 200, '<html><head><title>Login</title></head><body>
<form method="post" action="%%RSA_LOGIN_POST_URL%%">
<h1>Log in</h1><h2>%%REPLY_TAG%%</h2>
<p>User name <input type="text" name="sph_username" autocomplete="off" /></p>
<p>Passcode <input type="password" name="sph_password" autocomplete="off" /></p>
<input type="submit" value="Log in" />
</form></body></html>'),
('rsa-challenge', 200, '<html><head><title>Challenge</title></head><body>
<form method="post" action="%%RSAC_POST_URL%%">
<h2>%%REPLY_TAG%%</h2><h2>Please enter your passcode to continue</h2>
<input type="password" name="sph_passcode" autocomplete="off" /><input type="submit" value="Continue" />
</form></body></html>'),
('change-passwd', 200, '<html><head><title>Change password</title></head><body>
<form method="post" action="%%CPW_POST_URL%%">
<h1>Change your password</h1><h2>%%REPLY_TAG%%</h2>
<p>Old password <input type="password" name="sph_old" autocomplete="off" /></p>
<p>New password <input type="password" name="sph_new" autocomplete="off" /></p>
<p>Once more <input type="password" name="sph_again" autocomplete="off" /></p>
<input type="submit" value="Change" />
</form></body></html>'),
('account-lockout', 403, '<html><head><title>Account locked</title></head><body>
<h1>Account locked</h1>
<p>Too many wrong passwords for %%ACCOUNT%%. Try again in %%PERIOD_TIME%% minutes.</p>
</body></html>'),
('captcha', 200, '<html><head><title>Are you human?</title></head><body>
<form method="post" action="%%CAPTCHA_POST_URL%%">
<p>Type the letters of the picture to continue</p>
<img src="%%CAPTCHA_IMG_SRC%%"><input type="text" name="%%CAPTCHA_VCODE_STR%%" autocomplete="off" />
<input type="hidden" name="req" value="%%CAPTCHA_REQ_DATA%%" /><input type="submit" value="Continue" />
</form></body></html>'),
('captcha-block', 403, '<html><head><title>Too many tries</title></head><body>
<h1>Too many tries</h1>
<p>The letters were wrong too often. Try again later.</p>
</body></html>'),
('redirect', 200, '<html><head><meta http-equiv="refresh" content="3; url=%%ORG_LOCATION_VAL%%"></head><body>
<p>You are being taken to the page that you asked for.</p>
</body></html>'),
('pre-login-disclaimer', 200, 'This system is for authorized use only. What you do on it may be recorded.');

commit;
