-- A realistic camera: a PTZ model with one alarm input and one relay
-- output, factory settings, and a few users, clients and destinations.
insert into Spec values ('KTA3050', 1, 1);
insert into Spec2 values (2);
-- The identifier is made on the first deviceInfo request when the row
-- holds the placeholder 'aaaaaaaaaaaaaaaa'; this camera has one already.
insert into System values ('5F3C2A10-9B7E-4D21-8C4A-0f1e2d3c4b5a', '1.4.2.201105', 'B');
insert into DateTime values (2, 'Europe/Berlin', 'pool.ntp.org', 24);
insert into Network values (0, '192.168.1.100', '255.255.255.0',
                            '192.168.1.1', '192.168.1.1', '8.8.8.8',
                            'camera-lobby');
insert into Services values (554, 80);

insert into UserAccount values ('admin', 'admin', 0);
insert into UserAccount values ('anonymous', '', 3);
insert into UserAccount values ('operator', 'operator', 1);
insert into UserAccount values ('guest', 'guest', 2);

insert into VideoChannel values (0, 'Camera 1', 1, 50, 50, 50, 50);
insert into VideoStream values (0, 1, 0, 0, 0, 4096, 3, 25, 30);
insert into VideoStream values (1, 1, 1, 2, 1, 1024, 3, 15, 15);
insert into AudioStream values (0, 1, 8000, 16, 0);
insert into Audio values (0, 1, 50);

insert into ClientList values (1, 'Master-0', '192.168.1.20', 50000);
insert into ClientList values (2, 'Slave-0', '192.168.1.21', 50002);

insert into PTZControl values (0, 'pelco-d', 1);
insert into Preset values (NULL, 0, 'Entrance', 1, 1, 1);
insert into Preset values (NULL, 0, 'Parking', 2, 1, 1);

insert into Event values (0, 1, 127, 0, 2359, 10, 0, 0, 0, 0, 1, 1);
insert into Sensor values (0, 'Sensor-0', 0);
insert into Relay values (0, 'Relay-0', 5);
insert into FTPServer values (NULL, 'ftp-archive', '192.168.1.5', 'camera',
                              'secret', 21, '/alarms');
insert into SMTPServer values (NULL, 'mail-security', 'mail.example.com',
                               'camera', 'secret', 25, 'Alarm',
                               'camera@example.com', 'security@example.com',
                               '', 1);
