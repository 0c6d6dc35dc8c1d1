#!/usr/bin/python3
"""brokers.py TOPIC PARTITIONS   a Kafka cluster of three brokers that librdkafka simulates in this process.

Prints the brokers' addresses in one line and obeys the commands of standard input, one in each line, until its end:
    down N    broker N closes its connections and accepts no others; 0: all of them
    up N      the reverse
    lead N    broker N becomes the leader of every partition
    full N    the next N requests to write are refused, as by brokers whose disk is full
    well      no more of that
"""
import ctypes
import sys

PRODUCE, DISK_FULL = 0, 56  # of Kafka's protocol: the request, and the error KAFKA_STORAGE_ERROR


def main(topic, partitions):
    kafka = ctypes.CDLL("librdkafka.so.1")
    for name in ("rd_kafka_conf_new", "rd_kafka_new", "rd_kafka_mock_cluster_new", "rd_kafka_mock_cluster_bootstraps"):
        getattr(kafka, name).restype = ctypes.c_void_p
    error = ctypes.create_string_buffer(512)
    client = ctypes.c_void_p(kafka.rd_kafka_new(0, ctypes.c_void_p(kafka.rd_kafka_conf_new()), error, ctypes.sizeof(error)))
    cluster = ctypes.c_void_p(kafka.rd_kafka_mock_cluster_new(client, 3))
    topic = topic.encode()
    kafka.rd_kafka_mock_topic_create(cluster, topic, partitions, 3)
    print(ctypes.string_at(kafka.rd_kafka_mock_cluster_bootstraps(cluster)).decode(), flush=True)
    for line in sys.stdin:
        command, *number = line.split()
        number = int(number[0]) if number else 0
        if command in ("down", "up"):
            for broker in [number] if number else (1, 2, 3):
                getattr(kafka, f"rd_kafka_mock_broker_set_{command}")(cluster, broker)
        elif command == "lead":
            for partition in range(partitions):
                kafka.rd_kafka_mock_partition_set_leader(cluster, topic, partition, number)
        elif command == "full":
            errors = (ctypes.c_int * number)(*[DISK_FULL] * number)
            kafka.rd_kafka_mock_push_request_errors_array(cluster, PRODUCE, ctypes.c_size_t(number), errors)
        elif command == "well":
            kafka.rd_kafka_mock_clear_request_errors(cluster, PRODUCE)


if __name__ == "__main__":
    main(sys.argv[1], int(sys.argv[2]))
